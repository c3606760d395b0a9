// A sink that records its events and lets a test wait for them.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <vector>

#include "core/events.h"
#include "platform/mutex.h"

namespace ulix {

// How long a test waits for an event. The time is used up only when the event does not come.
inline constexpr std::chrono::seconds kTestPatience{20};

// A value that threads change and tests wait for.
template <typename T>
class Watched {
 public:
  explicit Watched(T value = T()) : value_(std::move(value)) {}
  template <typename Change>
  void Update(Change&& change) {
    {
      const std::lock_guard lock(mutex_);
      change(value_);
    }
    changed_.notify_all();
  }
  T Get() const {
    const std::lock_guard lock(mutex_);
    return value_;
  }
  // Waits until the condition is true; false when that takes longer than kTestPatience.
  template <typename Condition>
  bool Await(Condition&& condition) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kTestPatience, [&] { return condition(value_); });
  }

 private:
  mutable platform::Mutex mutex_;
  mutable platform::ConditionVariable changed_;
  T value_;
};

class RecordingSink final : public EventSink {
 public:
  struct Seen {
    std::vector<std::string> order;  // "data 1", "ready 1"
    std::vector<ChannelArrays> data;
  };
  Watched<Seen> seen;
  std::function<void()> in_data_change = [] {}, in_meas_ready = [] {};

  void DataChange(std::uint32_t group, const ChannelArrays& arrays) override {
    seen.Update([&](Seen& s) {
      s.order.push_back("data " + std::to_string(group));
      s.data.push_back(arrays);
    });
    in_data_change();
  }
  void MeasReady(std::uint32_t group) override {
    seen.Update([&](Seen& s) { s.order.push_back("ready " + std::to_string(group)); });
    in_meas_ready();
  }
  bool AwaitReports(std::size_t count) {
    return seen.Await([&](const Seen& s) { return s.data.size() >= count; });
  }
  std::size_t reports() const { return seen.Get().data.size(); }
};

}  // namespace ulix

// A clock that tests turn by hand.
#pragma once

#include <mutex>
#include <set>
#include <thread>

#include "platform/clock.h"

namespace ulix {

class ManualClock final : public Clock {
 public:
  enum class Mode {
    kStepped,   // time moves by Advance only
    kAutomatic  // waiting for a moment makes it come, so that one thread runs through minutes at once
  };
  explicit ManualClock(Mode mode = Mode::kStepped) : mode_(mode) {}

  void SetMode(Mode mode);

  MonotonicTime Now() override;
  // Starts at 2026-01-31 10:11:12.000 and keeps step with Now.
  Date LocalTime() override;
  void WaitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& changed, MonotonicTime until) override;

  // Wakes those whose moment has come. May be called with any lock held.
  void Advance(Milliseconds by);
  // Waits until so many threads wait on this clock for a moment still to come; false after 10 s of real time. Only
  // waits begun or renewed since the last Advance count.
  bool AwaitWaiters(std::size_t count);

 private:
  std::mutex mutex_;  // guards all below
  Mode mode_;
  std::condition_variable waiter_came_;
  Milliseconds elapsed_{0};
  std::set<std::thread::id> waiting_;
};

}  // namespace ulix

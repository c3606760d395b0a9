// Outgoing events and the sinks that take them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "drivers/channel_arrays.h"
#include "platform/mutex.h"

namespace ulix {

// A host's receiver of events.
//
// Threads. DataChange and MeasReady come on the group's scan thread. Progress, and an error of a call, come on the
// thread of that call. The library holds no lock meanwhile: a sink may call any member of the instrument and unadvise
// itself.
//
// Lifetime. A sink may destroy the instrument on a scan thread. Inside a call that the host made, the instrument must
// live until that call returns.
//
// Exceptions. A sink must not throw, except in DataChange, when it cannot take the arrays. It then throws before it
// passes the data on. MeasReady does not follow, and the next scan of the group is reported in any case.
class EventSink {
 public:
  virtual ~EventSink() = default;
  // The scan of a group is complete. Follows its DataChange at once.
  virtual void MeasReady(std::uint32_t /*group*/) {}
  // The values of a group's scan. The arrays are valid during the call only.
  virtual void DataChange(std::uint32_t /*group*/, const ChannelArrays&) {}
  // Part of the published interface; no model fires it.
  virtual void DevStatusChange(std::uint32_t /*status*/) {}
  // A failure with a code of the model's own.
  virtual void DevError(HRESULT) {}
  // A failure with any other code, such as those of the link.
  virtual void SysError(HRESULT) {}
  // A long operation has come to this percentage, 0 to 100.
  virtual void Progress(int /*percent*/) {}
  // The control itself changed the configuration of a group.
  virtual void CfgGroupChange(std::uint32_t /*group*/) {}
};

// Sinks in the order of connection, each with the cookie that Add gave. `Pointer` holds a sink and is cheap to copy.
// All members may be called from any thread.
template <typename Pointer>
class SinkList {
 public:
  // A cookie for Remove, never 0.
  std::uint32_t Add(Pointer sink) {
    const std::lock_guard lock(mutex_);
    sinks_.emplace_back(last_cookie_ + 1, std::move(sink));
    return ++last_cookie_;
  }
  // False when the cookie is not (or no longer) in use.
  bool Remove(std::uint32_t cookie) {
    Pointer removed{};  // Destroyed after the lock is released, because its destructor is the host's code.
    const std::lock_guard lock(mutex_);
    const auto found = From(cookie);
    if (found == sinks_.end() || found->first != cookie) return false;
    removed = std::move(found->second);
    sinks_.erase(found);
    return true;
  }
  // Calls each sink that is connected at the beginning and still is at its turn. Holds no lock during a call and
  // allocates nothing.
  template <typename Call>
  void ForEach(Call&& call) const {
    const std::uint32_t last = LastCookie();
    std::uint32_t cookie = 0;
    for (Pointer sink = Next(&cookie, last); sink; sink = Next(&cookie, last)) call(sink);
  }
  std::vector<std::pair<std::uint32_t, Pointer>> All() const {
    const std::lock_guard lock(mutex_);
    return sinks_;
  }

 private:
  using Sinks = std::vector<std::pair<std::uint32_t, Pointer>>;

  std::uint32_t LastCookie() const {
    const std::lock_guard lock(mutex_);
    return last_cookie_;
  }
  // The first sink after `cookie`, and sets `cookie` to that sink's; null after `last`.
  Pointer Next(std::uint32_t* cookie, std::uint32_t last) const {
    const std::lock_guard lock(mutex_);
    const auto next = From(*cookie + 1);
    if (next == sinks_.end() || next->first > last) return Pointer{};
    *cookie = next->first;
    return next->second;
  }
  // The first sink with this cookie or a higher one. Cookies rise in the order of connection.
  auto From(std::uint32_t cookie) const {
    return std::ranges::lower_bound(sinks_, cookie, {}, &Sinks::value_type::first);
  }
  auto From(std::uint32_t cookie) { return std::ranges::lower_bound(sinks_, cookie, {}, &Sinks::value_type::first); }

  mutable platform::Mutex mutex_;
  std::uint32_t last_cookie_ = 0;  // Guarded by mutex_.
  Sinks sinks_;                    // Guarded by mutex_; in the order of connection.
};

// The sinks of an instrument, called in the order of connection. All members may be called from any thread.
//
//   const std::uint32_t cookie = instrument.events().Advise(std::make_shared<MySink>());
//   instrument.RunGroup(group);
//   ...
//   instrument.events().Unadvise(cookie);
class EventSinks {
 public:
  // Connects a sink and gives a cookie for Unadvise, never 0. The sink is kept until it is unadvised.
  std::uint32_t Advise(std::shared_ptr<EventSink> sink) { return sinks_.Add(std::move(sink)); }
  // False when the cookie is not (or no longer) in use.
  bool Unadvise(std::uint32_t cookie) { return sinks_.Remove(cookie); }
  // Calls an event of each sink: Fire(&EventSink::Progress, 100).
  template <typename... Parameters, typename... Arguments>
  void Fire(void (EventSink::*event)(Parameters...), const Arguments&... arguments) const {
    sinks_.ForEach([&](const auto& sink) { ((*sink).*event)(arguments...); });
  }

 private:
  SinkList<std::shared_ptr<EventSink>> sinks_;
};

}  // namespace ulix

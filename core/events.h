// Outgoing events and the sinks that take them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "core/channel_arrays.h"

namespace ulix {

// A host's receiver. Called on the scan thread of a group, Progress and what befell a call on the thread of that call,
// with none of the library's locks held: it may call any member of the instrument and withdraw itself. On a scan thread
// it may let the instrument go; inside a call of its own the instrument must live on, as any object. It must not throw,
// but for DataChange: one that cannot take the arrays throws before it tells anybody. That report then ends there, no
// MeasReady comes, and the next scan reports whatever its values are.
class EventSink {
 public:
  virtual ~EventSink() = default;
  // A scan has produced new data; comes right after its DataChange.
  virtual void MeasReady(std::uint32_t) {}
  virtual void DataChange(std::uint32_t, const ChannelArrays&) {}
  virtual void DevStatusChange(std::uint32_t) {}
  virtual void DevError(HRESULT) {}
  virtual void SysError(HRESULT) {}
  virtual void Progress(int) {}  // percent, 0 to 100
  // The configuration of the group was changed by the control itself.
  virtual void CfgGroupChange(std::uint32_t) {}
};

// Receivers in connection order, each under the cookie that Add gave. `Pointer` holds one and is cheap to copy.
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
    Pointer removed{};  // let go of outside the lock: its destructor is the host's code
    const std::lock_guard lock(mutex_);
    const auto found = From(cookie);
    if (found == sinks_.end() || found->first != cookie) return false;
    removed = std::move(found->second);
    sinks_.erase(found);
    return true;
  }
  // Calls each that is connected at the beginning and still is when its turn comes. No lock is held meanwhile, and
  // nothing is allocated.
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
  // The first one after `cookie`, which becomes its own; null after `last`.
  Pointer Next(std::uint32_t* cookie, std::uint32_t last) const {
    const std::lock_guard lock(mutex_);
    const auto next = From(*cookie + 1);
    if (next == sinks_.end() || next->first > last) return Pointer{};
    *cookie = next->first;
    return next->second;
  }
  // Cookies rise with the order of connection.
  auto From(std::uint32_t cookie) const {
    return std::ranges::lower_bound(sinks_, cookie, {}, &Sinks::value_type::first);
  }
  auto From(std::uint32_t cookie) { return std::ranges::lower_bound(sinks_, cookie, {}, &Sinks::value_type::first); }

  mutable std::mutex mutex_;
  std::uint32_t last_cookie_ = 0;  // guarded by mutex_
  Sinks sinks_;                    // guarded by mutex_, in connection order
};

// The connected sinks, called in connection order.
class EventSinks {
 public:
  // A cookie for Unadvise, never 0.
  std::uint32_t Advise(std::shared_ptr<EventSink> sink) { return sinks_.Add(std::move(sink)); }
  // False when the cookie is not (or no longer) in use.
  bool Unadvise(std::uint32_t cookie) { return sinks_.Remove(cookie); }

  template <typename... Parameters, typename... Arguments>
  void Fire(void (EventSink::*event)(Parameters...), const Arguments&... arguments) const {
    sinks_.ForEach([&](const auto& sink) { ((*sink).*event)(arguments...); });
  }

 private:
  SinkList<std::shared_ptr<EventSink>> sinks_;
};

}  // namespace ulix

// Outgoing events and the sinks that take them.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "core/channel_arrays.h"

namespace ulix {

// A host's receiver. Called on the scan thread of a group, Progress and what befell a call on the thread of that call,
// with none of the library's locks held: it may call any member of the instrument and withdraw itself. On a scan thread
// it may let the instrument go; inside a call of its own the instrument must live on, as any object. It must not throw.
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

// The connected sinks, called in connection order. A sink withdrawn during a round may still get that round's event.
class EventSinks {
 public:
  // A cookie for Unadvise, never 0.
  std::uint32_t Advise(std::shared_ptr<EventSink> sink);
  // False when the cookie is not (or no longer) in use.
  bool Unadvise(std::uint32_t cookie);

  template <typename... Parameters, typename... Arguments>
  void Fire(void (EventSink::*event)(Parameters...), const Arguments&... arguments) const {
    for (const auto& sink : Connected()) ((*sink).*event)(arguments...);
  }

 private:
  std::vector<std::shared_ptr<EventSink>> Connected() const;
  mutable std::mutex mutex_;
  std::uint32_t last_cookie_ = 0;
  std::vector<std::pair<std::uint32_t, std::shared_ptr<EventSink>>> sinks_;
};

}  // namespace ulix

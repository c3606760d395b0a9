#include "core/events.h"

#include <algorithm>

namespace ulix {

std::uint32_t EventSinks::Advise(std::shared_ptr<EventSink> sink) {
  const std::lock_guard lock(mutex_);
  sinks_.emplace_back(++last_cookie_, std::move(sink));
  return last_cookie_;
}

bool EventSinks::Unadvise(std::uint32_t cookie) {
  std::shared_ptr<EventSink> withdrawn;  // let go of outside the lock: its destructor is the host's code
  const std::lock_guard lock(mutex_);
  const auto found =
      std::find_if(sinks_.begin(), sinks_.end(), [&](const auto& entry) { return entry.first == cookie; });
  if (found == sinks_.end()) return false;
  withdrawn = std::move(found->second);
  sinks_.erase(found);
  return true;
}

std::vector<std::shared_ptr<EventSink>> EventSinks::Connected() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::shared_ptr<EventSink>> connected;
  for (const auto& [cookie, sink] : sinks_) connected.push_back(sink);
  return connected;
}

}  // namespace ulix

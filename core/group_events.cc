#include "core/group_events.h"

#include <algorithm>

namespace ulix {

// Nobody is woken who waits for something else: most events have nobody, and a wake-up costs more than all else here.
void GroupEvents::Set(GroupEvent event) {
  bool awaited = false;
  {
    const std::lock_guard lock(mutex_);
    set_ |= event;
    awaited = std::any_of(awaited_.begin(), awaited_.end(), [event](unsigned events) { return (events & event) != 0; });
  }
  if (awaited) changed_.notify_all();
}

void GroupEvents::Reset(GroupEvent event) {
  const std::lock_guard lock(mutex_);
  set_ &= ~static_cast<unsigned>(event);
}

bool GroupEvents::IsSet(GroupEvent event) const {
  const std::lock_guard lock(mutex_);
  return (set_ & event) != 0;
}

unsigned GroupEvents::Wait(unsigned events, Deadline deadline) {
  std::unique_lock lock(mutex_);
  awaited_.push_back(events);
  while ((set_ & events) == 0 && !deadline.Passed(clock_)) {
    clock_.WaitUntil(lock, changed_, deadline.WaitPoint(clock_));
  }
  awaited_.erase(std::find(awaited_.begin(), awaited_.end(), events));
  return set_ & events;
}

}  // namespace ulix

#include "core/group_events.h"

namespace ulix {

void GroupEvents::Set(GroupEvent event) {
  {
    const std::lock_guard lock(mutex_);
    set_ |= event;
  }
  changed_.notify_all();
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
  while ((set_ & events) == 0 && !deadline.Passed(clock_)) {
    clock_.WaitUntil(lock, changed_, deadline.WaitPoint(clock_));
  }
  return set_ & events;
}

}  // namespace ulix

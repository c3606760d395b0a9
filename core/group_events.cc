#include "core/group_events.h"

#include <bit>

namespace ulix {

// Threads are notified only when one waits for this event. Most events have no waiter, and a wake-up costs more than
// the rest of a tick.
void GroupEvents::Set(GroupEvent event) {
  bool awaited = false;
  {
    const std::lock_guard lock(mutex_);
    set_ |= event;
    awaited = waiters_[static_cast<std::size_t>(std::countr_zero(static_cast<unsigned>(event)))] > 0;
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

void GroupEvents::CountWaiter(unsigned events, int change) {
  for (std::size_t bit = 0; bit < waiters_.size(); ++bit) {
    if ((events >> bit & 1U) != 0) waiters_[bit] += change;
  }
}

unsigned GroupEvents::Wait(unsigned events, Deadline deadline) {
  std::unique_lock lock(mutex_);
  CountWaiter(events, 1);
  while ((set_ & events) == 0 && !deadline.Passed(clock_)) {
    clock_.WaitUntil(lock, changed_, deadline.WaitPoint(clock_));
  }
  CountWaiter(events, -1);
  return set_ & events;
}

}  // namespace ulix

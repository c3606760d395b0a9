// The seven events between a group and its threads. An event stays set until it is reset.
#pragma once

#include <array>

#include "platform/clock.h"
#include "platform/mutex.h"

namespace ulix {

enum GroupEvent : unsigned {
  KillTimer = 1U << 0,
  TimerKilled = 1U << 1,
  ScanCreated = 1U << 2,
  TimeToScan = 1U << 3,
  ScanDone = 1U << 4,
  KillScan = 1U << 5,
  ScanKilled = 1U << 6,
};
inline constexpr std::size_t kGroupEventCount = 7;

// No member allocates memory, so that a thread can always be told to end. All members may be called from any thread.
class GroupEvents {
 public:
  explicit GroupEvents(Clock& clock) : clock_(clock) {}
  void Set(GroupEvent event);
  void Reset(GroupEvent event);
  bool IsSet(GroupEvent event) const;
  // Waits until at least one of `events` (ORed) is set and returns those that are set; 0 at the deadline.
  unsigned Wait(unsigned events, Deadline deadline);

 private:
  void CountWaiter(unsigned events, int change);
  Clock& clock_;
  mutable platform::Mutex mutex_;
  platform::ConditionVariable changed_;
  unsigned set_ = 0;                             // Guarded by mutex_.
  std::array<int, kGroupEventCount> waiters_{};  // Guarded by mutex_; how many threads wait for each event, by its bit.
};

}  // namespace ulix

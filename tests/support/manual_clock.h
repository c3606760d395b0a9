// A clock that a test advances.
#pragma once

#include <mutex>
#include <set>
#include <thread>

#include "platform/clock.h"
#include "platform/mutex.h"

namespace ulix {

class ManualClock final : public Clock {
 public:
  enum class Mode {
    kStepped,   // Only Advance moves the time.
    kAutomatic  // A wait moves the time to its end, so that one thread passes minutes at once.
  };
  explicit ManualClock(Mode mode = Mode::kStepped) : mode_(mode) {}

  void SetMode(Mode mode);

  MonotonicTime Now() override;
  // Starts at 2026-01-31 10:11:12.000 and advances with Now.
  Date LocalTime() override;
  void WaitUntil(std::unique_lock<platform::Mutex>& lock, platform::ConditionVariable& changed,
                 MonotonicTime until) override;

  // Moves the time and wakes the threads whose wait has ended. May be called with any lock held.
  void Advance(Milliseconds by);
  // Waits until `count` threads wait on this clock for a later time; false after 10 s of real time. Only waits that
  // began or were renewed after the last Advance count.
  bool AwaitWaiters(std::size_t count);

 private:
  platform::Mutex mutex_;  // Guards all members below.
  Mode mode_;
  platform::ConditionVariable waiter_came_;
  Milliseconds elapsed_{0};
  std::set<std::thread::id> waiting_;
  std::set<std::thread::id> users_;  // The threads that have asked for the time or waited.
};

}  // namespace ulix

// Time: a monotonic clock for waits and schedules, and the local time for time stamps. Classes get their clock from the
// caller, so that tests can pass a clock which they control.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>

#include "base/date.h"
#include "platform/mutex.h"

namespace ulix {

using MonotonicTime = std::chrono::steady_clock::time_point;
using Milliseconds = std::chrono::milliseconds;

// Any thread may use a clock.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual MonotonicTime Now() = 0;
  // The local time, in whole milliseconds.
  virtual Date LocalTime() = 0;
  // Waits until `changed` is notified or `until` has come. A wait may also end earlier, so the caller checks its
  // condition again. `lock` is released during the wait and held on return.
  virtual void WaitUntil(std::unique_lock<platform::Mutex>& lock, platform::ConditionVariable& changed,
                         MonotonicTime until) = 0;
  // Returns when `duration` has passed on this clock.
  void SleepFor(Milliseconds duration);
};

// The machine's clock.
Clock& SystemClock();

// The moment at which a wait ends, or no limit.
class Deadline {
 public:
  static Deadline Never() { return Deadline(std::nullopt); }
  static Deadline At(MonotonicTime at) { return Deadline(at); }
  static Deadline In(Clock& clock, Milliseconds duration) { return Deadline(clock.Now() + duration); }
  bool Passed(Clock& clock) const { return at_ && clock.Now() >= *at_; }
  // The moment for Clock::WaitUntil. Without a limit it is a day ahead, after which the caller waits again.
  MonotonicTime WaitPoint(Clock& clock) const { return at_ ? *at_ : clock.Now() + std::chrono::hours(24); }

 private:
  explicit Deadline(std::optional<MonotonicTime> at) : at_(at) {}
  std::optional<MonotonicTime> at_;
};

}  // namespace ulix

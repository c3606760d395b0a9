#include "platform/clock.h"

#include "platform/local_time.h"
#include "platform/mutex.h"

namespace ulix {
namespace {

class MachineClock final : public Clock {
 public:
  MonotonicTime Now() override { return std::chrono::steady_clock::now(); }
  Date LocalTime() override { return platform::LocalTimeNow(); }
  void WaitUntil(std::unique_lock<platform::Mutex>& lock, platform::ConditionVariable& changed,
                 MonotonicTime until) override {
    changed.wait_until(lock, until);
  }
};

}  // namespace

void Clock::SleepFor(Milliseconds duration) {
  platform::Mutex mutex;
  platform::ConditionVariable never;
  std::unique_lock lock(mutex);
  const MonotonicTime until = Now() + duration;
  while (Now() < until) WaitUntil(lock, never, until);
}

Clock& SystemClock() {
  static MachineClock clock;
  return clock;
}

}  // namespace ulix

#include "platform/clock.h"

#include <ctime>

namespace ulix {
namespace {

class MachineClock final : public Clock {
 public:
  MonotonicTime Now() override { return std::chrono::steady_clock::now(); }

  Date LocalTime() override {
    const auto now = std::chrono::floor<Milliseconds>(std::chrono::system_clock::now());
    const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
    const std::time_t time = std::chrono::system_clock::to_time_t(seconds);
    std::tm local{};
    localtime_r(&time, &local);
    return DateFromCivil({.year = local.tm_year + 1900,
                          .month = local.tm_mon + 1,
                          .day = local.tm_mday,
                          .hour = local.tm_hour,
                          .minute = local.tm_min,
                          .second = local.tm_sec > 59 ? 59 : local.tm_sec,
                          .millisecond = static_cast<int>((now - seconds).count())});
  }

  void WaitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& changed, MonotonicTime until) override {
    changed.wait_until(lock, until);
  }
};

}  // namespace

void Clock::SleepFor(Milliseconds duration) {
  std::mutex mutex;
  std::condition_variable never;
  std::unique_lock lock(mutex);
  const MonotonicTime until = Now() + duration;
  while (Now() < until) WaitUntil(lock, never, until);
}

Clock& SystemClock() {
  static MachineClock clock;
  return clock;
}

}  // namespace ulix

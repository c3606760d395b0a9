// The machine's clock, running a number of times faster.
#pragma once

#include <algorithm>

#include "platform/clock.h"
#include "platform/mutex.h"

namespace ulix {

class FastClock final : public Clock {
 public:
  explicit FastClock(int times) : times_(times) {}

  MonotonicTime Now() override { return start_ + (std::chrono::steady_clock::now() - start_) * times_; }
  Date LocalTime() override {
    return local_start_ + std::chrono::duration<double>(Now() - start_).count() / kSecondsPerDay;
  }
  void WaitUntil(std::unique_lock<platform::Mutex>& lock, platform::ConditionVariable& changed,
                 MonotonicTime until) override {
    // A wait without limit would overflow: a wait ends 2400 hours after the start at the latest.
    changed.wait_until(lock,
                       start_ + std::min<MonotonicTime::duration>(until - start_, std::chrono::hours(2400)) / times_);
  }

 private:
  static constexpr double kSecondsPerDay = 86'400;
  const int times_;
  const MonotonicTime start_ = std::chrono::steady_clock::now();
  const Date local_start_ = SystemClock().LocalTime();
};

}  // namespace ulix

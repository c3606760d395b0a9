#include "tests/support/manual_clock.h"

#include <algorithm>
#include <thread>

namespace ulix {
namespace {

// Not the clock's zero, so that a moment that was never set stands out.
constexpr MonotonicTime kStart{std::chrono::hours(1000)};
constexpr CivilTime kLocalStart{2026, 1, 31, 10, 11, 12, 0};
constexpr double kMillisecondsPerDay = 86'400'000;

}  // namespace

MonotonicTime ManualClock::Now() {
  std::lock_guard guard(mutex_);
  return kStart + elapsed_;
}

Date ManualClock::LocalTime() {
  std::lock_guard guard(mutex_);
  return DateFromCivil(kLocalStart) + static_cast<double>(elapsed_.count()) / kMillisecondsPerDay;
}

void ManualClock::WaitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& changed, MonotonicTime until) {
  {
    std::lock_guard guard(mutex_);
    if (kStart + elapsed_ >= until) return;
    if (mode_ == Mode::kAutomatic) elapsed_ = std::chrono::ceil<Milliseconds>(until - kStart);
    waited_for_ = true;
    waiter_came_.notify_all();
  }
  // Advance does not know this condition; a short real wait that ends for nothing stands in for its notice.
  if (mode_ == Mode::kStepped) {
    changed.wait_for(lock, Milliseconds(1));
  } else {
    lock.unlock();
    std::this_thread::yield();
    lock.lock();
  }
}

void ManualClock::Advance(Milliseconds by) {
  std::lock_guard guard(mutex_);
  elapsed_ += by;
  waited_for_ = false;
}

bool ManualClock::AwaitWaiter() {
  std::unique_lock guard(mutex_);
  return waiter_came_.wait_for(guard, std::chrono::seconds(10), [this] { return waited_for_; });
}

}  // namespace ulix

#include "tests/support/manual_clock.h"

#include <algorithm>

#include "platform/mutex.h"

namespace ulix {
namespace {

// The clock does not start at zero, so that a time that was never set is recognised.
constexpr MonotonicTime kStart{std::chrono::hours(1000)};
constexpr CivilTime kLocalStart{2026, 1, 31, 10, 11, 12, 0};
constexpr double kMillisecondsPerDay = 86'400'000;

}  // namespace

void ManualClock::SetMode(Mode mode) {
  std::lock_guard guard(mutex_);
  mode_ = mode;
}

MonotonicTime ManualClock::Now() {
  std::lock_guard guard(mutex_);
  users_.insert(std::this_thread::get_id());
  return kStart + elapsed_;
}

Date ManualClock::LocalTime() {
  std::lock_guard guard(mutex_);
  return DateFromCivil(kLocalStart) + static_cast<double>(elapsed_.count()) / kMillisecondsPerDay;
}

void ManualClock::WaitUntil(std::unique_lock<platform::Mutex>& lock, platform::ConditionVariable& changed,
                            MonotonicTime until) {
  Mode mode;
  bool alone;
  {
    std::lock_guard guard(mutex_);
    mode = mode_;
    users_.insert(std::this_thread::get_id());
    alone = users_.size() == 1;
    if (kStart + elapsed_ >= until) return;
    if (mode_ == Mode::kAutomatic) elapsed_ = std::chrono::ceil<Milliseconds>(until - kStart);
    waiting_.insert(std::this_thread::get_id());
    waiter_came_.notify_all();
  }
  // Advance cannot notify this condition variable. A short real wait takes the place of a notification.
  if (mode == Mode::kStepped) {
    changed.wait_for(lock, Milliseconds(1));
  } else {
    lock.unlock();
    // On a busy machine each yield costs a time slice of another program.
    if (!alone) std::this_thread::yield();
    lock.lock();
  }
}

void ManualClock::Advance(Milliseconds by) {
  std::lock_guard guard(mutex_);
  elapsed_ += by;
  waiting_.clear();
}

bool ManualClock::AwaitWaiters(std::size_t count) {
  std::unique_lock guard(mutex_);
  return waiter_came_.wait_for(guard, std::chrono::seconds(10), [&] { return waiting_.size() >= count; });
}

}  // namespace ulix

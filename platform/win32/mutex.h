// The locks of the system. They allocate no memory and cannot fail.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace ulix::platform {

// Has the members of std::mutex. Destruction needs no call to the system.
class Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;
  void lock() noexcept;
  bool try_lock() noexcept;
  void unlock() noexcept;

 private:
  friend class ConditionVariable;
  void* lock_ = nullptr;  // an SRWLOCK
};

// Has the members of std::condition_variable. Times are those of the monotonic clock.
class ConditionVariable {
 public:
  using Clock = std::chrono::steady_clock;

  ConditionVariable() = default;
  ConditionVariable(const ConditionVariable&) = delete;
  ConditionVariable& operator=(const ConditionVariable&) = delete;
  void notify_one() noexcept;
  void notify_all() noexcept;
  void wait(std::unique_lock<Mutex>& lock) noexcept;
  std::cv_status wait_until(std::unique_lock<Mutex>& lock, Clock::time_point until) noexcept;

  template <typename Predicate>
  void wait(std::unique_lock<Mutex>& lock, Predicate done) {
    while (!done()) wait(lock);
  }
  template <typename Predicate>
  bool wait_until(std::unique_lock<Mutex>& lock, Clock::time_point until, Predicate done) {
    while (!done()) {
      if (wait_until(lock, until) == std::cv_status::timeout) return done();
    }
    return true;
  }
  template <typename Rep, typename Period>
  std::cv_status wait_for(std::unique_lock<Mutex>& lock, std::chrono::duration<Rep, Period> duration) {
    return wait_until(lock, Clock::now() + std::chrono::ceil<Clock::duration>(duration));
  }
  template <typename Rep, typename Period, typename Predicate>
  bool wait_for(std::unique_lock<Mutex>& lock, std::chrono::duration<Rep, Period> duration, Predicate done) {
    return wait_until(lock, Clock::now() + std::chrono::ceil<Clock::duration>(duration), std::move(done));
  }

 private:
  void* variable_ = nullptr;  // a CONDITION_VARIABLE
};

}  // namespace ulix::platform

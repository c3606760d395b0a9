#include "platform/mutex.h"

#include <windows.h>

#include <algorithm>

namespace ulix::platform {
namespace {

static_assert(sizeof(SRWLOCK) == sizeof(void*) && sizeof(CONDITION_VARIABLE) == sizeof(void*));

SRWLOCK* LockOf(void*& place) { return reinterpret_cast<SRWLOCK*>(&place); }
CONDITION_VARIABLE* VariableOf(void*& place) { return reinterpret_cast<CONDITION_VARIABLE*>(&place); }

// The longest single wait. A longer one wakes up before its end, which callers must expect.
constexpr std::chrono::milliseconds kMaxWait = std::chrono::hours(24);

// The result is rounded up, so that a wait does not end too early.
DWORD MillisecondsUntil(std::chrono::steady_clock::time_point until) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
  return static_cast<DWORD>(std::clamp(left, std::chrono::milliseconds(0), kMaxWait).count());
}

}  // namespace

void Mutex::lock() noexcept { AcquireSRWLockExclusive(LockOf(lock_)); }
bool Mutex::try_lock() noexcept { return TryAcquireSRWLockExclusive(LockOf(lock_)) != FALSE; }
void Mutex::unlock() noexcept { ReleaseSRWLockExclusive(LockOf(lock_)); }

void ConditionVariable::notify_one() noexcept { WakeConditionVariable(VariableOf(variable_)); }
void ConditionVariable::notify_all() noexcept { WakeAllConditionVariable(VariableOf(variable_)); }

void ConditionVariable::wait(std::unique_lock<Mutex>& lock) noexcept {
  SleepConditionVariableSRW(VariableOf(variable_), LockOf(lock.mutex()->lock_), INFINITE, 0);
}

std::cv_status ConditionVariable::wait_until(std::unique_lock<Mutex>& lock, Clock::time_point until) noexcept {
  SleepConditionVariableSRW(VariableOf(variable_), LockOf(lock.mutex()->lock_), MillisecondsUntil(until), 0);
  return Clock::now() >= until ? std::cv_status::timeout : std::cv_status::no_timeout;
}

}  // namespace ulix::platform

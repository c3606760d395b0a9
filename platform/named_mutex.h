// A recursive mutex that every process of the machine shares by its name.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace ulix::platform {

// Why a lock was not obtained.
struct LockProblem {
  enum class Cause {
    kNone,          // it was obtained
    kHeld,          // another thread or process held it all the time; `holder` is the process, if the system knows it
    kHolderGone,    // its holder ended without releasing it, which happens only after somebody set it by hand
    kNoPermission,  // the object belongs to another program or user
    kForeign,       // an object of another kind has its key
    kNoRoom,        // the system has no more objects of its kind
    kSystem,        // any other failure; `os_error` says which
  };
  Cause cause = Cause::kNone;
  std::string object;          // as the system's tools show it, such as "semaphore 0x554c0c1d (SerialComMutex1)"
  std::uint32_t os_error = 0;  // the system's error code; 0 when no call of the system failed
  std::int64_t holder = 0;     // a process id; 0 when it is not known

  // For traces, in English: object, cause, and what the user can do.
  std::string Describe() const;
};

// Any thread may use it. The thread that locked it unlocks it, as many times as it locked it. When a holder ends, also
// when it is killed, the next waiting thread gets the mutex at once. Waiting threads of all processes get it in the
// order of arrival, as far as the system keeps that order. After a fork the child holds nothing that its parent held.
// An object that was removed from the system is created again.
class NamedMutex {
 public:
  explicit NamedMutex(const std::string& name);
  ~NamedMutex();
  NamedMutex(const NamedMutex&) = delete;
  NamedMutex& operator=(const NamedMutex&) = delete;

  // False when it was not obtained within `wait`, or when the system cannot provide it; `problem` then says why.
  bool LockFor(std::chrono::milliseconds wait, LockProblem* problem = nullptr);
  // Does nothing in a thread that does not hold it.
  void Unlock();

 private:
  class Shared;
  std::shared_ptr<Shared> shared_;
};

// Removes the object of a name from a system where it outlives its users. For tests, and for repairing what another
// program left behind. Its holder does not notice; threads that wait for it get a new one.
void RemoveNamedMutex(const std::string& name);

}  // namespace ulix::platform

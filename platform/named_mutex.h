// A recursive mutex that all processes of the machine share by its name.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace ulix::platform {

// Why a lock was not obtained.
struct LockProblem {
  enum class Cause {
    kNone,          // the lock was obtained
    kHeld,          // another thread or process held it all the time; `holder` is that process, where known
    kHolderGone,    // its holder ended and did not release it; happens only after a person changed the object by hand
    kNoPermission,  // the object belongs to another program or user
    kForeign,       // an object of another kind has the name or the key
    kNoRoom,        // the system has reached its limit of such objects
    kSystem,        // any other failure; `os_error` says which
  };
  Cause cause = Cause::kNone;
  std::string object;          // as the system's tools name it, such as "semaphore 0x554c0c1d (SerialComMutex1)"
  std::uint32_t os_error = 0;  // the system's error code; 0 when no call of the system failed
  std::int64_t holder = 0;     // a process id; 0 when not known
};

// Any thread may lock the mutex. The thread that locked it must unlock it, as many times as it locked it. When a
// process that holds the mutex ends or is killed, the next waiting thread gets it at once. Threads of all processes get
// it in the order in which they asked, as far as the system keeps that order. After a fork the child process does not
// hold what its parent held. If the object is removed from the system, the next lock creates it again.
//
// NamedMutex mutex("SerialComMutex1");
// LockProblem problem;
// if (!mutex.LockFor(std::chrono::seconds(60), &problem)) return problem.cause;
class NamedMutex {
 public:
  explicit NamedMutex(const std::string& name);
  ~NamedMutex();
  NamedMutex(const NamedMutex&) = delete;
  NamedMutex& operator=(const NamedMutex&) = delete;

  // False when the lock was not obtained within `wait`, or when the system cannot provide the mutex; `problem`, if
  // given, then says why. A `wait` of 0 tries once. Succeeds at once in the thread that holds the mutex.
  bool LockFor(std::chrono::milliseconds wait, LockProblem* problem = nullptr);
  // Releases the mutex once. Does nothing in a thread that does not hold it.
  void Unlock();

 private:
  class Shared;
  std::shared_ptr<Shared> shared_;
};

// Removes the object of a name, on a system where it outlives its users (Linux). For tests, and for repairs after
// another program. The thread that holds it does not notice. Waiting threads go on with a new object.
void RemoveNamedMutex(const std::string& name);

}  // namespace ulix::platform

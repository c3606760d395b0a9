// A recursive mutex that every process of the machine shares by its name.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace ulix::platform {

// Why a lock was not had.
struct LockProblem {
  enum class Cause {
    kNone,          // it was had
    kHeld,          // another thread or process held it all the time; `holder` is the process, where the system tells
    kHolderGone,    // it is held by a process that ended without giving it back: somebody set it by hand
    kNoPermission,  // the object belongs to another program or user
    kForeign,       // an object of another kind has its key
    kNoRoom,        // the system has no more objects of its kind
    kSystem,        // any other failure; `os_error` says which
  };
  Cause cause = Cause::kNone;
  std::string object;  // as the system's tools show it, such as "semaphore 0x554c0c1d (SerialComMutex1)"
  std::uint32_t os_error = 0;
  std::int64_t holder = 0;

  // For traces, in English: object, cause, and what the user can do.
  std::string Describe() const;
};

// A holder that dies, whatever killed it, releases the mutex: the next one gets it at once. Safe to use from any
// thread; the thread that locked it unlocks it, as many times as it locked it. Who waits gets it in the order of
// arrival, whichever process it belongs to, as far as the system keeps one. The child of a fork holds nothing that its
// parent held. An object that was removed from the system is made again.
class NamedMutex {
 public:
  explicit NamedMutex(const std::string& name);
  ~NamedMutex();
  NamedMutex(const NamedMutex&) = delete;
  NamedMutex& operator=(const NamedMutex&) = delete;

  // False when it was not obtained in time, or when the system could not provide it at all; `problem` says why.
  bool LockFor(std::chrono::milliseconds wait, LockProblem* problem = nullptr);
  // Does nothing for a thread that does not hold it.
  void Unlock();

 private:
  class Shared;
  std::shared_ptr<Shared> shared_;
};

// Takes the object of a name out of the system, where it outlives its users: for tests, and for who mends what another
// program left behind. Who holds it is not told; who waits for it gets a new one.
void RemoveNamedMutex(const std::string& name);

}  // namespace ulix::platform

// A recursive mutex that every process of the machine shares by its name.
#pragma once

#include <chrono>
#include <memory>
#include <string>

namespace ulix::platform {

// A holder that dies, whatever killed it, releases the mutex: the next one gets it at once. Safe to use from any
// thread; the thread that locked it unlocks it, as many times as it locked it. Threads of one process that wait get it
// in the order in which they came.
class NamedMutex {
 public:
  explicit NamedMutex(const std::string& name);
  ~NamedMutex();
  NamedMutex(const NamedMutex&) = delete;
  NamedMutex& operator=(const NamedMutex&) = delete;

  // False when it was not obtained in time, or when the system could not provide it at all.
  bool LockFor(std::chrono::milliseconds wait);
  void Unlock();

 private:
  class Shared;
  std::shared_ptr<Shared> shared_;
};

}  // namespace ulix::platform

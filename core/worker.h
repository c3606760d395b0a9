// A thread with an owner.
#pragma once

#include <functional>
#include <thread>

namespace ulix {

// The owner calls Join or LeaveBehind before destruction: Join when the body is about to end, LeaveBehind to let the
// thread run on alone. The body must not throw and must own all that it uses.
class Worker {
 public:
  explicit Worker(std::function<void()> body);
  bool IsCaller() const { return thread_.get_id() == std::this_thread::get_id(); }
  void Join() { thread_.join(); }
  void LeaveBehind() { thread_.detach(); }

 private:
  std::thread thread_;
};

// How many threads of the library still run, those left behind included. While there are any, the library's code must
// stay loaded.
int ThreadsAlive();

}  // namespace ulix

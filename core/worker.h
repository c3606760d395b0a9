// A thread with an owner.
#pragma once

#include <functional>
#include <thread>

namespace ulix {

// The owner ends it by Join, once the body is known to end, or lets it run on by LeaveBehind; one of the two is called
// before destruction. The body must not throw and must own all that it touches.
class Worker {
 public:
  explicit Worker(std::function<void()> body);
  bool IsCaller() const { return thread_.get_id() == std::this_thread::get_id(); }
  void Join() { thread_.join(); }
  void LeaveBehind() { thread_.detach(); }

 private:
  std::thread thread_;
};

// Threads of the library that still run, those left behind included. While there are any, its code must stay loaded.
int ThreadsAlive();

}  // namespace ulix

// Time that passes as fast as it is wanted to, for simulated instruments and who drives them.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

#include "platform/clock.h"

namespace ulix {

// One time behind three clocks. It stands still but for waits, so that what happens does not depend on how fast the
// machine is. It must outlive its clocks' users. Any thread may call any clock.
class VirtualTime {
 public:
  // `speed`: seconds that pass at most for each of the machine's; 0: as fast as it goes. The local time begins at
  // `local_start`.
  VirtualTime(double speed, Date local_start);
  ~VirtualTime();

  // For whom waiting for a moment makes it come, at the speed: the one who leads.
  Clock& pacing();
  // For drivers and simulated lines: a wait makes its end come at once.
  Clock& jumping();
  // For instruments, whose callers wait for work that others do: a wait lasts until it is notified, or its moment came.
  Clock& patient();

  // From now on as fast as it goes, or at this speed.
  void SetSpeed(double speed);

 private:
  class View;
  MonotonicTime Now();
  void MoveTo(MonotonicTime until);

  std::mutex mutex_;  // guards all below
  double speed_;
  MonotonicTime now_;
  MonotonicTime pace_now_;   // moment of this time at which the pace began
  MonotonicTime pace_real_;  // the same moment of the machine's
  const Date local_start_;
  const MonotonicTime start_;
  std::unique_ptr<View> pacing_, jumping_, patient_;
};

}  // namespace ulix

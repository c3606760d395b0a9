// Simulated time that passes at any speed, for simulated instruments and the programs that drive them.
#pragma once

#include <memory>

#include "platform/clock.h"
#include "platform/mutex.h"

namespace ulix {

// One simulated time with three clocks. The time advances only during waits, so that a run does not depend on the speed
// of the machine. The object must outlive the users of its clocks. Any thread may call any clock.
class VirtualTime {
 public:
  // `speed` is the greatest number of simulated seconds per second of real time; 0 runs as fast as possible. The
  // simulated local time begins at `local_start`.
  VirtualTime(double speed, Date local_start);
  ~VirtualTime();

  // The clock of the thread that leads the run. A wait advances the time to its end, no faster than the speed.
  Clock& pacing();
  // The clock of drivers and simulated lines. A wait advances the time to its end at once.
  Clock& jumping();
  // The clock of instruments. Their callers wait for the work of other threads, so a wait does not advance the time: it
  // lasts until it is notified or until others have advanced the time to its end.
  Clock& patient();

  // Changes the speed from now on; 0 runs as fast as possible.
  void SetSpeed(double speed);

 private:
  class View;
  MonotonicTime Now();
  void MoveTo(MonotonicTime until);

  platform::Mutex mutex_;  // guards all members below
  double speed_;
  MonotonicTime now_;
  MonotonicTime pace_now_;   // simulated time at which the current speed was set
  MonotonicTime pace_real_;  // the same moment in real time
  const Date local_start_;
  const MonotonicTime start_;
  std::unique_ptr<View> pacing_, jumping_, patient_;
};

}  // namespace ulix

// A simulated block or bath whose temperature goes after its set point.
#pragma once

#include "platform/clock.h"
#include "simulators/noise.h"
#include "simulators/surroundings.h"

namespace ulix {

// Degrees Celsius and seconds. The fields may be changed at any time after Advance.
class ThermalModel {
 public:
  explicit ThermalModel(Clock& clock) : clock_(clock), moved_(clock.Now()) {}

  double temperature = 20;  // when it was last looked at
  double set_point = 20;
  double time_constant = 30;  // in which the distance to the set point shrinks to a third or so; 0 or less: at once
  double noise = 0.002;       // greatest deviation of one measurement

  // Of a shared world, which then has temperature, dynamics and noise of its own.
  Surroundings* place = nullptr;

  // Brings the temperature up to the present.
  void Advance();
  double Measure();
  void SetPoint(double value);

 private:
  Clock& clock_;
  MonotonicTime moved_;
  Noise random_;
};

}  // namespace ulix

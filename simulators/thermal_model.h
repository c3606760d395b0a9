// A simulated block or bath whose temperature follows its set point.
#pragma once

#include "platform/clock.h"
#include "simulators/noise.h"
#include "simulators/surroundings.h"

namespace ulix {

// Degrees Celsius and seconds. Call Advance before you change a field.
class ThermalModel {
 public:
  explicit ThermalModel(Clock& clock) : clock_(clock), moved_(clock.Now()) {}

  double temperature = 20;  // At the last Advance.
  double set_point = 20;
  double time_constant = 30;  // In this time the distance to the set point shrinks to 37 %; 0 or less: at once.
  double noise = 0.002;       // Greatest deviation of one measurement.

  // The shared world, or null. It then has its own temperature, dynamics and noise.
  Surroundings* place = nullptr;

  // Computes the temperature at the present time.
  void Advance();
  double Measure();
  void SetPoint(double value);

 private:
  Clock& clock_;
  MonotonicTime moved_;
  Noise random_;
};

}  // namespace ulix

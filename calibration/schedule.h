// Estimates how long a plan takes.
#pragma once

#include <vector>

#include "calibration/plan.h"

namespace ulix::calibration {

// Durations in seconds, from the rate and settling time of the source and from the stability windows.
struct TimeTable {
  double preload_seconds = 0;         // before the first point of a phase
  std::vector<double> point_seconds;  // for each point: approach, settling, window, dwell, readings
  double phase_seconds = 0;
  double run_seconds = 0;  // all phases together
};

TimeTable TimeTableOf(const Plan& plan);

}  // namespace ulix::calibration

// How long a plan takes.
#pragma once

#include <vector>

#include "calibration/plan.h"

namespace ulix::calibration {

// Seconds, from the source's rate and settling time and the detector's windows.
struct TimeTable {
  double preload_seconds = 0;         // before the first point of a phase
  std::vector<double> point_seconds;  // of each point: the way, settling, window, dwell, readings
  double phase_seconds = 0;
  double run_seconds = 0;  // of all phases
};

TimeTable TimeTableOf(const Plan& plan);

}  // namespace ulix::calibration

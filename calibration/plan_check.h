// Whether the parts of a plan fit each other and what the library drives. No instrument is asked.
#pragma once

#include <vector>

#include "calibration/plan.h"

namespace ulix::calibration {

// Points outside a limit, a reference that is also a unit, a port used twice, channels and settings that a model does
// not have, and the like.
std::vector<PlanProblem> CheckPlan(const Plan& plan);

}  // namespace ulix::calibration

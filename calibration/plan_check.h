// Checks whether the parts of a plan fit each other and the supported models. Sends nothing to any instrument.
#pragma once

#include <vector>

#include "calibration/plan.h"

namespace ulix::calibration {

// The problems of a plan, such as a point outside a limit, a reference that is also a unit under test, a port used
// twice, or a channel or setting that a model does not have.
std::vector<PlanProblem> CheckPlan(const Plan& plan);

}  // namespace ulix::calibration

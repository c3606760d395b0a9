// What holds of every stability rule, in a plan and on the command line.
#pragma once

#include <optional>

#include "calibration/problem.h"

namespace ulix::calibration {

// Why a window cannot be judged: it holds fewer than `min_samples`, or they are further apart than a tenth of it, and
// the detector would take each for a gap. Window and sampling in seconds. Nothing where it can be judged.
std::optional<Problem> WhyWindowIsSparse(double window, double sampling, int min_samples);

}  // namespace ulix::calibration

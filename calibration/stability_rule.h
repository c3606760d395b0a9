// A check that applies to every stability rule, in a plan and on the command line.
#pragma once

#include <optional>

#include "calibration/problem.h"

namespace ulix::calibration {

// Why a window can never become stable: it has fewer samples than `min_samples`, or the samples are further apart than
// a tenth of the window, so that the detector would see gaps. `window` and `sampling` are in seconds. None if the rule
// is fine.
std::optional<Problem> WhyWindowIsSparse(double window, double sampling, int min_samples);

}  // namespace ulix::calibration

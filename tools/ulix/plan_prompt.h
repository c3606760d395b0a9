// Creates a new calibration plan by questions.
#pragma once

#include <string>

namespace ulix::cli {

// Asks the user on standard input and writes the plan to `file`. Returns the exit status. Throws UsageError when the
// file exists and `force` is false, or when standard input ends.
int AskForPlan(const std::string& file, bool force);

}  // namespace ulix::cli

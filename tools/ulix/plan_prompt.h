// A new calibration plan, asked question by question.
#pragma once

#include <string>

namespace ulix::cli {

// Asks the person on standard input and writes the plan to `file`; exit status. UsageError when the file is there
// already and may not be replaced, or nobody answers.
int AskForPlan(const std::string& file, bool force);

}  // namespace ulix::cli

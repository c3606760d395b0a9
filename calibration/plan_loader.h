// Loads a plan from its file, and reports all problems.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "calibration/plan.h"

namespace ulix::calibration {

struct LoadedPlan {
  Plan plan;                          // usable only if no problem is an error
  std::vector<PlanProblem> problems;  // in the order of their lines

  bool usable() const;
};

// Loads a plan from the text of its file, in UTF-8. Checks syntax, keys and values; if all are right, checks whether
// they fit each other and the supported models (calibration/plan_check.h). `folder` is the folder of the files that the
// plan names.
LoadedPlan LoadPlan(std::string_view text, const std::string& folder);

// A problem as one line of text: "12: units[1].tolerance: is to be a number".
std::string Described(const PlanProblem& problem, Language language = Language::kEnglish);

}  // namespace ulix::calibration

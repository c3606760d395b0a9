// A plan's file into a plan, with everything that is wrong about it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "calibration/plan.h"

namespace ulix::calibration {

struct LoadedPlan {
  Plan plan;                          // usable only where no problem is an error
  std::vector<PlanProblem> problems;  // in the order of their lines

  bool usable() const;
};

// The file's text, UTF-8. Its syntax, its keys and its values, one by one; then whether they fit each other and the
// catalogue of models (calibration/plan_check.h). `folder` is where the files are that it names.
LoadedPlan LoadPlan(std::string_view text, const std::string& folder);

// "12: units[1].tolerance: is to be a number".
std::string Described(const PlanProblem& problem, Language language = Language::kEnglish);

}  // namespace ulix::calibration

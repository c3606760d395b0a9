// Decides whether a unit keeps its tolerance, by a rule that was agreed beforehand (ILAC-G8:09/2019).
#pragma once

#include <string_view>

#include "calibration/plan.h"
#include "resources/texts.h"

namespace ulix::calibration {

// The names and their order are those of digital certificates.
enum class Conformity { kPass, kFail, kConditionalPass, kConditionalFail };

// The decision on a deviation with the tolerance from -tolerance to +tolerance. Pass the three numbers as printed, so
// that a reader of the certificate comes to the same decision. `guard` is the guard band as a multiple of U.
//   simple         pass within the tolerance (a wrong pass is up to 50 % likely)
//   guard band     pass within the tolerance less the guard band (with one U: below 2.5 %)
//   four outcomes  pass within the tolerance less the guard band
//                  conditional pass up to the tolerance
//                  conditional fail up to the tolerance plus the guard band
//                  fail beyond
// `rule` must not be kNone.
Conformity Decide(DecisionRule rule, double deviation, double tolerance, double expanded, double guard = 1);

// "pass", "fail", "conditionalPass", "conditionalFail".
std::string_view ConformityName(Conformity conformity);
TextId ConformityText(Conformity conformity);
// The rule as a sentence to be printed.
TextId DecisionRuleText(DecisionRule rule);

}  // namespace ulix::calibration

// Checks certificates with the official rules (Schematron), which are published together with the schema. Needs Java
// and Saxon.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "calibration/dcc/dcc.h"

namespace ulix::calibration {

// The findings of the rules. None if the rules (schematron/dcc.svrl in `folder`) or the programs are missing. Fails if
// the programs end without a result.
Result<std::optional<std::vector<RuleFinding>>> CheckDccRules(const std::string& path, const std::string& folder);

}  // namespace ulix::calibration

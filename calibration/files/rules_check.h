// The rules (Schematron) that the keeper of digital certificates publishes beside the schema, run by Saxon where Java
// and Saxon are installed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "calibration/dcc/dcc.h"

namespace ulix::calibration {

// Empty optional where the rules (schematron/dcc.svrl in `folder`) or the programs are not there. Refused where they
// ended without a result.
Result<std::optional<std::vector<RuleFinding>>> CheckDccRules(const std::string& path, const std::string& folder);

}  // namespace ulix::calibration

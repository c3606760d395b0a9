// The mirror of the data in JSON, for scripts.
#pragma once

#include <string>
#include <vector>

#include "fleet/payload.h"

namespace ulix::fleet {

// {"time": "2026-01-31T10:11:12.345Z", "metrics": {"Inputs/IN/Value": {"value": 1.5, "quality": 192, "unit": "V",
// "time": ...}}}. "unit" and "time" where the metric has them, "historical": true where it was sent later.
std::string MirrorText(UnixMs time, const std::vector<Metric>& metrics);

// "2026-01-31T10:11:12.345Z".
std::string UtcText(UnixMs time);

}  // namespace ulix::fleet

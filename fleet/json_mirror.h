// A copy of the data in JSON, for scripts.
#pragma once

#include <string>
#include <vector>

#include "fleet/payload.h"

namespace ulix::fleet {

// Metrics as JSON: {"time": "2026-01-31T10:11:12.345Z", "metrics": {"Inputs/IN/Value": {"value": 1.5, "quality": 192,
// "unit": "V", "time": ...}}}. "unit" and "time" are there if the metric has them, and "historical": true if it was
// sent later.
std::string MirrorText(UnixMs time, const std::vector<Metric>& metrics);

// A time as text: "2026-01-31T10:11:12.345Z".
std::string UtcText(UnixMs time);

}  // namespace ulix::fleet

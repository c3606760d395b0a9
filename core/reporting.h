// When a scan is worth reporting, and when the next one is due. Pure functions.
#pragma once

#include <optional>

#include "core/group_settings.h"
#include "platform/clock.h"

namespace ulix {

// Whether the time since the last report, cut to whole seconds, exceeds the max report interval. Always so when there
// was no report yet.
bool ReportIntervalIsOver(std::optional<Milliseconds> since_last_report, std::uint32_t dead_time_max_s);

// Whether `value` left the dead band around the last reported value. The bounds belong to the outside, so that without
// dead bands every value has left it. Computed in float, each step rounded.
bool LeavesDeadBand(float value, float last_reported, const GroupSettings& settings);

// The tick after `due`: one period on; when that has passed too, the last whole period that has, to be given at once in
// place of all that were missed. Keeps its phase however late it is asked for.
MonotonicTime NextTick(MonotonicTime due, Milliseconds period, MonotonicTime now);

}  // namespace ulix

// When a scan is reported, and when the next tick is due. Pure functions.
#pragma once

#include <optional>

#include "core/group_settings.h"
#include "platform/clock.h"

namespace ulix {

// Whether the time since the last report, cut to whole seconds, exceeds the max report interval. True when there was no
// report yet.
bool ReportIntervalIsOver(std::optional<Milliseconds> since_last_report, std::uint32_t dead_time_max_s);

// Whether `value` is outside the dead band around the last reported value. A value at a bound is outside, so that
// without dead bands every value is. Computed in float, each step rounded, as hosts expect.
bool LeavesDeadBand(float value, float last_reported, const GroupSettings& settings);

// The tick after `due`, one period later. When that time has passed too, the last whole period that has passed: it is
// due at once and replaces all missed ticks. The phase is kept.
MonotonicTime NextTick(MonotonicTime due, Milliseconds period, MonotonicTime now);

}  // namespace ulix

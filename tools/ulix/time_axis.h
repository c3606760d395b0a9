// The ticks of a time axis and their labels, for spans from milliseconds to years.
#pragma once

#include <string>
#include <vector>

#include "base/date.h"
#include "base/text.h"

namespace ulix::cli {

inline constexpr double kSecondsPerDay = 86400;

struct TimeTick {
  Date at = 0;
  std::string label;  // time of day, as precise as the distance between ticks requires
  // When the axis spans several days, the day at the first tick and at the first tick of each day; else empty.
  std::string day;
};

// Two to eight ticks at round times inside [low, high].
std::vector<TimeTick> TimeTicks(Date low, Date high, Language language);

// The name of the axis, such as "Local time, 2026-01-31 to 2026-02-02".
std::string TimeAxisName(Date low, Date high, Language language);

}  // namespace ulix::cli

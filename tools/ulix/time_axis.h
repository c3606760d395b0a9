// Where a time axis is marked, and what the marks say, from milliseconds to years.
#pragma once

#include <string>
#include <vector>

#include "base/date.h"
#include "base/text.h"

namespace ulix::cli {

inline constexpr double kSecondsPerDay = 86400;

struct TimeTick {
  Date at = 0;
  std::string label;  // as precise as the marks are apart
  std::string day;    // of the first mark and of the first of another day, where there are several days; else empty
};

// Two to eight marks on round times inside [low, high].
std::vector<TimeTick> TimeTicks(Date low, Date high, Language language);

// What the axis shows: "Local time, 2026-01-31 to 2026-02-02".
std::string TimeAxisName(Date low, Date high, Language language);

}  // namespace ulix::cli

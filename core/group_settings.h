// What a host sets of an acquisition group.
#pragma once

#include <cstdint>

namespace ulix {

inline constexpr std::uint32_t kShortestPeriodMs = 100;

struct GroupSettings {
  std::uint32_t period_ms = 1000;     // kept at kShortestPeriodMs at least
  float dead_band_percent = 0.0F;     // relative to the last reported value
  float dead_band_abs = 0.0F;         // in channel units
  std::uint32_t dead_time_max_s = 0;  // a silence longer than this many whole seconds is broken by a report

  bool operator==(const GroupSettings&) const = default;
};

}  // namespace ulix

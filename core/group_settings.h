// The settings of an acquisition group.
#pragma once

#include <cstdint>

namespace ulix {

inline constexpr std::uint32_t kShortestPeriodMs = 100;

struct GroupSettings {
  std::uint32_t period_ms = 1000;  // At least kShortestPeriodMs.
  float dead_band_percent = 0.0F;  // Percent of the last reported value.
  float dead_band_abs = 0.0F;      // In channel units.
  // Max report interval in seconds: the first scan after a longer interval is reported.
  std::uint32_t dead_time_max_s = 0;

  bool operator==(const GroupSettings&) const = default;
};

}  // namespace ulix

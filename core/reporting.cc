#include "core/reporting.h"

#include <cmath>

namespace ulix {

bool ReportIntervalIsOver(std::optional<Milliseconds> since_last_report, std::uint32_t dead_time_max_s) {
  if (!since_last_report) return true;
  return std::chrono::duration_cast<std::chrono::seconds>(*since_last_report).count() > std::int64_t{dead_time_max_s};
}

bool LeavesDeadBand(float value, float last_reported, const GroupSettings& settings) {
  const float relative = settings.dead_band_percent * std::fabs(last_reported) / 100.0F;
  const float half_width = settings.dead_band_abs + relative;
  const float low = last_reported - half_width;
  const float high = last_reported + half_width;
  return value <= low || value >= high;
}

MonotonicTime NextTick(MonotonicTime due, Milliseconds period, MonotonicTime now) {
  const MonotonicTime next = due + period;
  return next > now ? next : next + (now - next) / period * period;
}

}  // namespace ulix

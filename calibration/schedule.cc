#include "calibration/schedule.h"

#include <cmath>

namespace ulix::calibration {
namespace {

double WaySeconds(const Plan& plan, double from, double to) {
  return plan.source.rate > 0 ? std::abs(to - from) / plan.source.rate * 60 : 0;
}

}  // namespace

TimeTable TimeTableOf(const Plan& plan) {
  TimeTable table;
  if (plan.points.empty()) return table;
  // The value of a real source before the run is not known. The safe value is assumed, because the last run has left it
  // there.
  double from = plan.simulated() ? plan.bench.world.start : plan.source.safe;
  const double first = plan.points.front().value;
  for (int k = 0; k < plan.preload.count; ++k) {
    table.preload_seconds += WaySeconds(plan, from, plan.preload.value) + WaySeconds(plan, plan.preload.value, first) +
                             2 * plan.preload.dwell;
    from = first;
  }
  for (const PlannedPoint& point : plan.points) {
    // The window must begin after the settling. A source that is already at the value does not settle.
    const double settle = point.value == from && &point != plan.points.data() ? 0 : plan.source.settle;
    const double seconds = WaySeconds(plan, from, point.value) + settle + point.stability.window + point.dwell +
                           point.readings.count * point.readings.period;
    table.point_seconds.push_back(seconds);
    table.phase_seconds += seconds;
    from = point.value;
  }
  table.phase_seconds += table.preload_seconds;
  table.run_seconds = table.phase_seconds * static_cast<double>(plan.phases.size());
  return table;
}

}  // namespace ulix::calibration

// Channels over time as a drawing for a report.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/date.h"

namespace ulix::cli {

struct PlotPoint {
  Date time = 0;               // local
  std::optional<float> value;  // none where the reading failed: the curve has a gap there
};

struct PlotCurve {
  std::string name;  // UTF-8, as `unit`
  std::string unit;
  std::vector<PlotPoint> points;  // in order of time
};

// One panel a unit, one above the other over a common time axis, with a legend. Well-formed whatever the texts and the
// points are, also without any point.
std::string PlotSvg(const std::string& title, const std::vector<PlotCurve>& curves);

// Round positions inside [low, high], about `wanted` of them, and the decimals that tell them apart.
struct Ticks {
  std::vector<double> at;
  int decimals = 0;
};
Ticks NiceTicks(double low, double high, int wanted);

}  // namespace ulix::cli

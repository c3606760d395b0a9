// A channel's readings over time, kept for drawing.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/date.h"

namespace ulix::cli {

struct PlotPoint {
  Date time = 0;               // local
  std::optional<float> value;  // none where the reading failed
  bool doubtful = false;       // marked with a '?'
  bool late = false;           // came more than a period after its scan: no line leads on from it
};

// What is drawn of a point: a value that is no finite number is a failed reading as well.
std::optional<double> Drawn(const PlotPoint& point);

struct PlotCurve {
  std::string name;  // UTF-8, as `unit`
  std::string unit;
  std::vector<PlotPoint> points;  // in order of time

  // Keeps a bounded number of points: of too many, those that make a difference to a drawing.
  void Add(const PlotPoint& point);
};

// The points that a drawing of so many columns cannot do without: of each column the first and the last, the lowest and
// the highest value, the first and the last failure. All, where they are few.
std::vector<PlotPoint> Thinned(const std::vector<PlotPoint>& points, std::size_t columns);

}  // namespace ulix::cli

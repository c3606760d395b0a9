// A channel's readings over time, for a drawing.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/date.h"

namespace ulix::cli {

struct PlotPoint {
  Date time = 0;               // Local time.
  std::optional<float> value;  // None for a failed reading.
  bool doubtful = false;       // drawn with a '?'
  bool late = false;           // came more than a period after its scan; no line is drawn to the next point
};

// The value to draw; nullopt for a failed reading and for a value that is not finite.
std::optional<double> Drawn(const PlotPoint& point);

struct PlotCurve {
  std::string name;  // UTF-8; the unit too.
  std::string unit;
  std::vector<PlotPoint> points;  // in order of time

  // Adds a point. The number of stored points is limited: when there are too many, only those that a drawing needs are
  // kept.
  void Add(const PlotPoint& point);
};

// The points that a drawing `columns` pixels wide needs: for each column the first and the last value, the lowest and
// the highest value, the first and the last failure. Few points are all kept.
std::vector<PlotPoint> Thinned(const std::vector<PlotPoint>& points, std::size_t columns);

}  // namespace ulix::cli

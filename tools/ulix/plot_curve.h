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
  bool doubtful = false;       // marked with a '?'
  bool late = false;           // came more than a period after its scan: no line leads on from it
};

// The value that is drawn; none for a failed reading and for a value that is not finite.
std::optional<double> Drawn(const PlotPoint& point);

struct PlotCurve {
  std::string name;  // UTF-8; the unit too.
  std::string unit;
  std::vector<PlotPoint> points;  // in order of time

  // Keeps a bounded number of points: of too many, those that make a difference to a drawing.
  void Add(const PlotPoint& point);
};

// The points that a drawing of `columns` columns needs: of each column the first and the last, the lowest and the
// highest value, the first and the last failure. All points when they are few.
std::vector<PlotPoint> Thinned(const std::vector<PlotPoint>& points, std::size_t columns);

}  // namespace ulix::cli

// A small figure of values over numbers, for pages that show several of them side by side.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/text.h"

namespace ulix::cli {

struct XySeries {
  std::string name;  // UTF-8; empty: not in the legend
  std::vector<std::pair<double, double>> points;
  std::vector<double> bars;  // half heights around the points; empty: none
  bool marks = false;        // a dot for each point instead of a line
  std::size_t colour = 0;    // series of the same number look alike
};

struct XyFigure {
  std::string x_label, y_label;
  std::vector<XySeries> series;
  std::optional<std::pair<double, double>> band;  // a shaded band of values
  std::optional<double> line_at;                  // position of a vertical line
};

// The figure as SVG, well-formed whatever the texts and points are. Empty without any point. Its size grows with the
// number of points.
std::string FigureSvg(const XyFigure& figure, Language language);

}  // namespace ulix::cli

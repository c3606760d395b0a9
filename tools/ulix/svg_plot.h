// Draws the readings of channels over time as SVG.
#pragma once

#include <string>
#include <vector>

#include "base/text.h"
#include "tools/ulix/plot_curve.h"

namespace ulix::cli {

// Where the drawing goes: a file of its own, or an HTML page, which already has the title and the namespace.
enum class PlotPlace { kFile, kPage };

// The complete drawing. Channels of the same unit share an axis: the first unit on the left, a second one on the right.
// Three or more units have one panel each, one above the other over a common time axis. Each unit has its legend.
// A curve has a gap where readings failed; a band and a mark in its colour show the failure. A doubtful value has a
// '?'. No line is drawn from a late reading to the next one. The SVG is well-formed whatever the texts and points are,
// also without any point. Its size does not grow with the number of points.
std::string PlotSvg(const std::string& title, const std::vector<PlotCurve>& curves, Language language,
                    PlotPlace place = PlotPlace::kFile);

// Axis ticks: about `wanted` round positions inside [low, high], and the number of decimals that distinguishes them.
struct Ticks {
  std::vector<double> at;
  int decimals = 0;
};
Ticks NiceTicks(double low, double high, int wanted);

}  // namespace ulix::cli

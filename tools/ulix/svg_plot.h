// Channels over time as a drawing for a report.
#pragma once

#include <string>
#include <vector>

#include "base/text.h"
#include "tools/ulix/plot_curve.h"

namespace ulix::cli {

// Whether a drawing is a file or a part of a page, which has the title and the namespace already.
enum class PlotPlace { kFile, kPage };

// One unit has its axis on the left, a second one on the right; more have a panel each, one above the other over a
// common time axis. Each has its legend. Where readings of a channel failed its curve has a gap, with a band and a mark
// in its colour; a doubtful value has a '?'; no line leads on from a late one. Well-formed whatever the texts and the
// points are, also without any point; its size does not grow with the number of points.
std::string PlotSvg(const std::string& title, const std::vector<PlotCurve>& curves, Language language,
                    PlotPlace place = PlotPlace::kFile);

// Round positions inside [low, high], about `wanted` of them, and the decimals that tell them apart.
struct Ticks {
  std::vector<double> at;
  int decimals = 0;
};
Ticks NiceTicks(double low, double high, int wanted);

}  // namespace ulix::cli

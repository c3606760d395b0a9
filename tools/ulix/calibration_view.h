// A run of a calibration plan while it goes on, for the person at the terminal.
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/text.h"
#include "calibration/plan.h"
#include "calibration/run.h"

namespace ulix::cli {

class CalibrationView : public calibration::RunObserver {
 public:
  // Before somebody is asked something: what is typed then stands below what is shown.
  virtual void MakeRoom() {}
  // The last state, when the run is over.
  virtual void Finish() {}
};

// On a terminal a table drawn in place: points, states, spread and drift against their limits, time left, a small trend
// of each channel. Elsewhere a line for each change. `plan` outlives it. A reader who has gone does not end the run.
std::unique_ptr<CalibrationView> MakeCalibrationView(const calibration::Plan& plan, Language language);

// One channel under a stability detector, and its last values to draw.
struct WatchedChannel {
  calibration::ChannelStatus status;
  std::deque<std::optional<float>> history;  // oldest first
};
inline constexpr std::size_t kWatchHistory = 24;

// Headings and a line a channel, at most so many, in `width` columns: value, spread and drift against their limits,
// state, time left, a small trend.
std::vector<std::string> WatchLines(std::span<const WatchedChannel> channels, std::size_t width, std::size_t most,
                                    Language language);
std::string StateText(calibration::StabilityState state, Language language);

// "1:02:03"; days before it where there are any.
std::string ClockText(double seconds);

std::string PhaseText(calibration::Phase phase, Language language);
// "120 °C ↓".
std::string PointText(const calibration::Plan& plan, double value, calibration::Direction direction, Language language);

}  // namespace ulix::cli

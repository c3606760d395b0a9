// Shows the progress of a calibration run to the user at the terminal.
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
  // To be called before the user is asked a question, so that the answer is typed below the view.
  virtual void MakeRoom() {}
  // Shows the last state. To be called when the run has ended.
  virtual void Finish() {}
};

// A terminal has a table that is redrawn in place: points, states, spread and drift with their limits, time left, and a
// small trend of each channel. Other outputs get a line for each change. `plan` must outlive the view. An output that
// is closed by its reader does not end the run.
std::unique_ptr<CalibrationView> MakeCalibrationView(const calibration::Plan& plan, Language language);

// A channel with its stability detector and its last values for the trend.
struct WatchedChannel {
  calibration::ChannelStatus status;
  std::deque<std::optional<float>> history;  // oldest first
};
inline constexpr std::size_t kWatchHistory = 24;

// The headings and a line for each channel, limited in number, `width` columns wide: value, spread and drift with their
// limits, state, time left, and a small trend.
std::vector<std::string> WatchLines(std::span<const WatchedChannel> channels, std::size_t width, std::size_t max_lines,
                                    Language language);
std::string StateText(calibration::StabilityState state, Language language);

// What the run does now. During an approach: the state of the channel that is furthest from stable.
std::string ActivityText(const calibration::RunStatus& status, Language language);
// Phase and point, such as "as found, point 2 of 6: 120 °C ↑"; empty when there is no point.
std::string PlaceText(const calibration::Plan& plan, const calibration::RunStatus& status, Language language);
// The results of a point in one line.
std::string TakenText(const calibration::Plan& plan, const calibration::PointSummary& point, Language language);
// A spread or a drift with its limit, such as "0.012 / 0.02"; a dash without a limit.
std::string RatioText(double value, double limit, Language language);

std::string PhaseText(calibration::Phase phase, Language language);
// A point with its unit and direction, such as "120 °C ↓".
std::string PointText(const calibration::Plan& plan, double value, calibration::Direction direction, Language language);

}  // namespace ulix::cli

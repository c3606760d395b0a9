#include "tools/ulix/calibration_page.h"

#include <chrono>
#include <deque>
#include <utility>

#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

using calibration::Activity;
using calibration::BilingualText;
using calibration::ChannelStatus;
using calibration::Plan;
using calibration::PointSummary;
using calibration::RunStatus;

constexpr std::size_t kMaxLines = 12;
// A simulated run at high speed gives more states than a browser can draw.
constexpr std::chrono::milliseconds kBetweenFrames(50);

class CalibrationPage final : public CalibrationView {
 public:
  CalibrationPage(const Plan& plan, Language language, std::unique_ptr<LivePage> page,
                  std::unique_ptr<CalibrationView> other)
      : plan_(plan), language_(language), page_(std::move(page)), other_(std::move(other)) {}

  void OnStatus(const RunStatus& status) override {
    other_->OnStatus(status);
    seconds_ = status.seconds;
    const auto now = std::chrono::steady_clock::now();
    if (now - shown_ < kBetweenFrames && status.activity != Activity::kFinished) return;
    shown_ = now;
    page_->Show(FrameOf(status));
  }
  void OnPoint(const PointSummary& point) override {
    other_->OnPoint(point);
    AddLine(TakenText(plan_, point, language_));
  }
  void OnMessage(const BilingualText& text) override {
    other_->OnMessage(text);
    AddLine(ClockText(seconds_) + "  " + text.In(language_));
  }
  void MakeRoom() override { other_->MakeRoom(); }
  void Finish() override { other_->Finish(); }

 private:
  LiveFrame FrameOf(const RunStatus& status) const;
  LiveSeries SeriesOf(const ChannelStatus& channel) const;
  // The newest line comes first.
  void AddLine(std::string line) {
    lines_.push_front(std::move(line));
    if (lines_.size() > kMaxLines) lines_.pop_back();
  }

  const Plan& plan_;
  const Language language_;
  std::unique_ptr<LivePage> page_;
  std::unique_ptr<CalibrationView> other_;
  std::deque<std::string> lines_;
  double seconds_ = 0;
  std::chrono::steady_clock::time_point shown_;
};

LiveSeries CalibrationPage::SeriesOf(const ChannelStatus& channel) const {
  const auto& report = channel.stability;
  const bool failed = !channel.error.empty();
  return {.name = channel.name,
          .unit = plan_.unit,
          .value = channel.value,
          .quality = failed ? LiveQuality::kFailed : LiveQuality::kGood,
          .cells = {{RatioText(report.spread, report.spread_limit, language_), report.spread > report.spread_limit},
                    {RatioText(report.drift, report.drift_limit, language_), report.drift > report.drift_limit},
                    {failed ? channel.error : StateText(report.state, language_), failed},
                    {report.seconds_left ? ClockText(*report.seconds_left) : ""}}};
}

LiveFrame CalibrationPage::FrameOf(const RunStatus& status) const {
  const auto left = [](const std::optional<double>& seconds) { return seconds ? ClockText(*seconds) : "–"; };
  const std::string place = PlaceText(plan_, status, language_);
  LiveFrame frame{.seconds = status.seconds, .time = status.time};
  frame.headline = place + (place.empty() ? "" : "  –  ") + ActivityText(status, language_);
  frame.detail = Shown(TextId::kLiveTimes, language_,
                       {ClockText(status.seconds), left(status.point_seconds_left), left(status.run_seconds_left)});
  for (const ChannelStatus& channel : status.channels) frame.series.push_back(SeriesOf(channel));
  frame.lines.assign(lines_.begin(), lines_.end());
  return frame;
}

}  // namespace

LivePageOptions CalibrationPageOptions(const Plan& plan, Language language) {
  return {.title = plan.title,
          .columns = Heads({TextId::kLiveSpread, TextId::kLiveDrift, TextId::kLiveState, TextId::kLiveLeft}, language),
          .language = language};
}

std::unique_ptr<CalibrationView> MakeCalibrationPage(const Plan& plan, Language language,
                                                     std::unique_ptr<LivePage> page,
                                                     std::unique_ptr<CalibrationView> other) {
  return std::make_unique<CalibrationPage>(plan, language, std::move(page), std::move(other));
}

}  // namespace ulix::cli

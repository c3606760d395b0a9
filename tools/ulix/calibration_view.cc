#include "tools/ulix/calibration_view.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <deque>
#include <iostream>

#include "base/numbers.h"
#include "calibration/json_reader.h"
#include "platform/terminal.h"
#include "tools/ulix/live_table.h"
#include "tools/ulix/output.h"
#include "tools/ulix/screen_block.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {

using calibration::Activity;
using calibration::BilingualText;
using calibration::ChannelStatus;
using calibration::Direction;
using calibration::Phase;
using calibration::Plan;
using calibration::PlannedPoint;
using calibration::PointSummary;
using calibration::RunStatus;
using calibration::StabilityState;

namespace {

constexpr std::size_t kTakenShown = 5;
constexpr std::size_t kMessagesShown = 3;
constexpr std::chrono::milliseconds kRedraw(100);
constexpr int kValueDigits = 7;  // a reading is a single-precision number

std::string Local(double value, int digits = 4) { return ShownNumber(FormatGeneral(value, digits)); }

std::vector<std::string> WatchCells(const WatchedChannel& channel, Language language) {
  constexpr std::size_t kMaxState = 24;
  const ChannelStatus& status = channel.status;
  const auto& report = status.stability;
  return {status.name,
          status.value ? Local(*status.value, kValueDigits) : "×",
          RatioText(report.spread, report.spread_limit, language),
          RatioText(report.drift, report.drift_limit, language),
          Cut(status.error.empty() ? StateText(report.state, language) : status.error, kMaxState),
          report.seconds_left ? ClockText(*report.seconds_left) : "",
          Sparkline(channel.history, kWatchHistory)};
}

class TerminalView final : public CalibrationView {
 public:
  TerminalView(const Plan& plan, Language language) : plan_(plan), language_(language) {}

  void OnStatus(const RunStatus& status) override {
    status_ = status;
    Keep();
    const auto now = std::chrono::steady_clock::now();
    if (now - drawn_ < kRedraw && status.activity != Activity::kFinished) return;
    drawn_ = now;
    Draw();
  }
  void OnPoint(const PointSummary& point) override {
    taken_.push_back(TakenText(plan_, point, language_));
    if (taken_.size() > kTakenShown) taken_.pop_front();
  }
  void OnMessage(const BilingualText& text) override {
    messages_.push_back(ClockText(status_.seconds) + "  " + text.In(language_));
    if (messages_.size() > kMessagesShown) messages_.pop_front();
  }
  void MakeRoom() override {
    Draw();
    block_.Leave();
  }
  void Finish() override { Draw(); }

 private:
  void Keep();
  void Draw();

  const Plan& plan_;
  const Language language_;
  RunStatus status_;
  std::vector<WatchedChannel> channels_;  // each with the values of one window, thinned
  double kept_at_ = -1;
  std::deque<std::string> taken_, messages_;
  ScreenBlock block_;
  std::chrono::steady_clock::time_point drawn_;
};

// Keeps the values of one window at the current point.
void TerminalView::Keep() {
  channels_.resize(status_.channels.size());
  for (std::size_t k = 0; k < channels_.size(); ++k) channels_[k].status = status_.channels[k];
  if (status_.point >= plan_.points.size()) return;
  const double step = plan_.points[status_.point].stability.window / kWatchHistory;
  if (status_.seconds - kept_at_ < step) return;
  kept_at_ = status_.seconds;
  for (WatchedChannel& channel : channels_) {
    const auto& value = channel.status.value;
    channel.history.push_back(value ? std::optional(static_cast<float>(*value - status_.nominal)) : std::nullopt);
    if (channel.history.size() > kWatchHistory) channel.history.pop_front();
  }
}

void TerminalView::Draw() {
  const auto width = static_cast<std::size_t>(std::max(platform::TerminalWidth(), 20)) - 1;
  const auto height = static_cast<std::size_t>(std::max(platform::TerminalHeight(), 8));
  const std::size_t others = 5 + taken_.size() + messages_.size();
  std::vector<std::string> lines{
      Bold(Cut(PlaceText(plan_, status_, language_) + "  –  " + ActivityText(status_, language_), width))};
  const auto left = [](const std::optional<double>& seconds) { return seconds ? ClockText(*seconds) : "–"; };
  lines.push_back(
      Cut(Shown(TextId::kLiveTimes, language_,
                {ClockText(status_.seconds), left(status_.point_seconds_left), left(status_.run_seconds_left)}),
          width));
  const std::size_t room = height > others + 2 ? height - others - 1 : 1;
  for (std::string& line : WatchLines(channels_, width, room, language_)) lines.push_back(std::move(line));
  for (const std::string& line : taken_) lines.push_back(Cut(line, width));
  for (const std::string& line : messages_) lines.push_back(Cut(line, width));
  if (status_.activity != Activity::kFinished) lines.push_back(Cut(Shown(TextId::kLiveEnds, language_), width));
  if (lines.size() >= height) lines.resize(height - 1);
  block_.Show(lines);
}

// The view for pipes and logs: one line for each change.
class LineView final : public CalibrationView {
 public:
  LineView(const Plan& plan, Language language) : plan_(plan), language_(language) {}

  void OnStatus(const RunStatus& status) override {
    if (status.catching_up) return;
    seconds_ = status.seconds;
    const bool reading = status.activity == Activity::kReading;
    if (reading && reading_) return;
    reading_ = reading;
    const std::string text = PlaceText(plan_, status, language_) + ": " + ActivityText(status, language_);
    if (text == last_) return;
    last_ = text;
    Print(text);
  }
  void OnPoint(const PointSummary& point) override { Print(TakenText(plan_, point, language_)); }
  void OnMessage(const BilingualText& text) override { Print(text.In(language_)); }

 private:
  // A closed output does not end the calibration, so errors are ignored.
  void Print(const std::string& text) const { std::cout << ClockText(seconds_) << "  " << text << std::endl; }

  const Plan& plan_;
  const Language language_;
  std::string last_;
  bool reading_ = false;
  double seconds_ = 0;
};

}  // namespace

std::string ActivityText(const RunStatus& status, Language language) {
  if (status.catching_up) return Shown(TextId::kLiveCatchingUp, language);
  switch (status.activity) {
    case Activity::kConnecting:
      return Shown(TextId::kLiveConnecting, language);
    case Activity::kPreloading:
      return Shown(TextId::kLivePreloading, language);
    case Activity::kDwelling:
      return Shown(TextId::kLiveDwelling, language);
    case Activity::kReading:
      return Shown(TextId::kLiveReading, language,
                   {std::to_string(status.readings_done + 1), std::to_string(status.readings_wanted)});
    case Activity::kAdjusting:
      return Shown(TextId::kLiveAdjusting, language);
    case Activity::kLeavingSafe:
      return Shown(TextId::kLiveLeavingSafe, language);
    case Activity::kFinished:
      return Shown(TextId::kLiveFinished, language);
    case Activity::kApproaching:
      break;
  }
  return StateText(status.state, language);
}

std::string TakenText(const Plan& plan, const PointSummary& point, Language language) {
  constexpr std::size_t kUnits = 4;
  std::string text =
      Shown(TextId::kLiveTaken, language,
            {PhaseText(point.phase, language) + ", " + PointText(plan, point.nominal, point.direction, language),
             Local(point.reference, kValueDigits)});
  for (std::size_t k = 0; k < std::min(kUnits, point.indications.size()); ++k) {
    text += "  " + plan.units[k].name + " " + Local(point.indications[k], kValueDigits);
  }
  return text + (point.indications.size() > kUnits ? " …" : "");
}

std::string PlaceText(const Plan& plan, const RunStatus& status, Language language) {
  if (status.point >= plan.points.size()) return {};
  const PlannedPoint& point = plan.points[status.point];
  return PhaseText(status.phase, language) + ", " +
         Shown(TextId::kLivePointOf, language, {std::to_string(status.point + 1), std::to_string(plan.points.size())}) +
         ": " + PointText(plan, point.value, point.direction, language);
}

std::string RatioText(double value, double limit, Language language) {
  constexpr int kDigits = 3;
  const auto text = [language](double number) { return InLanguage(FormatGeneral(number, kDigits), language); };
  return limit > 0 ? text(value) + " / " + text(limit) : "–";
}

std::string StateText(StabilityState state, Language language) { return Shown(calibration::TextOf(state), language); }

std::vector<std::string> WatchLines(std::span<const WatchedChannel> channels, std::size_t width, std::size_t max_lines,
                                    Language language) {
  Table table(Heads({TextId::kChannelLabel, TextId::kValueLabel, TextId::kLiveSpread, TextId::kLiveDrift,
                     TextId::kLiveState, TextId::kLiveLeft, TextId::kLiveTrend},
                    language));
  const auto shown = channels.first(std::min(channels.size(), max_lines));
  for (const WatchedChannel& channel : shown) table.Add(WatchCells(channel, language));
  std::vector<std::string> lines;
  for (const std::string& line : table.Lines(std::string::npos)) lines.push_back(Cut(line, width));
  lines.front() = Bold(lines.front());
  if (shown.size() < channels.size())
    lines.push_back(Shown(TextId::kLiveMoreChannels, language, {std::to_string(channels.size() - shown.size())}));
  return lines;
}

std::string PhaseText(Phase phase, Language language) {
  return Shown(phase == Phase::kAsLeft ? TextId::kPhaseAsLeft : TextId::kPhaseAsFound, language);
}

std::string PointText(const Plan& plan, double value, Direction direction, Language language) {
  return InLanguage(calibration::NumberText(value), language) + " " + plan.unit +
         (direction == Direction::kFalling ? " ↓" : " ↑");
}

std::unique_ptr<CalibrationView> MakeCalibrationView(const Plan& plan, Language language) {
  if (OnTerminal()) return std::make_unique<TerminalView>(plan, language);
  return std::make_unique<LineView>(plan, language);
}

}  // namespace ulix::cli

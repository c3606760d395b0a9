#include "tools/ulix/live_table.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/numbers.h"
#include "platform/clock.h"
#include "platform/terminal.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/time_axis.h"

namespace ulix::cli {
namespace {

constexpr std::size_t kHistory = 32;
constexpr std::array kEighths = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::size_t kMinTrend = 8;
constexpr std::size_t kMinError = 24;  // Columns for the code and the beginning of its text.

std::string ShownValue(const LiveRow& row) {
  const bool held = !row.history.empty() && row.history.back();
  return held ? ShownNumber(FormatValue(row.channel, *row.history.back())) + DoubtMark(row.doubt) : std::string("--");
}

std::string RightAligned(const std::string& text, std::size_t width) {
  const std::size_t shown = DisplayWidth(text);
  return std::string(shown < width ? width - shown : 0, ' ') + text;
}

template <typename Text>
std::size_t Widest(std::span<const LiveRow> rows, Text&& text) {
  std::size_t widest = 0;
  for (const LiveRow& row : rows) widest = std::max(widest, DisplayWidth(text(row)));
  return widest;
}

// Minimum, maximum and standard deviation of each channel, if there is enough room.
class StatisticsColumns {
 public:
  StatisticsColumns(std::span<const LiveRow> rows, Language language, std::size_t room) : language_(language) {
    for (std::size_t k = 0; k < kHeads.size(); ++k) {
      widths_[k] = std::max(DisplayWidth(Shown(kHeads[k], language_)),
                            Widest(rows, [&](const LiveRow& row) { return Texts(row)[k]; }));
      width_ += widths_[k] + 2;
    }
    if (width_ > room) width_ = 0;
  }
  std::size_t width() const { return width_; }
  std::string Heads() const {
    return Line({Shown(kHeads[0], language_), Shown(kHeads[1], language_), Shown(kHeads[2], language_)});
  }
  std::string Cells(const LiveRow& row) const { return Line(Texts(row)); }

 private:
  using Row = std::array<std::string, 3>;
  static constexpr std::array kHeads = {TextId::kMinHead, TextId::kMaxHead, TextId::kDeviationHead};

  static Row Texts(const LiveRow& row) {
    constexpr int kDigits = 3;  // significant digits of a deviation; more have no meaning
    const Statistics& of = row.statistics;
    if (of.good() == 0) return {"--", "--", "--"};
    const auto value = [&](double number) { return ShownNumber(FormatValue(row.channel, static_cast<float>(number))); };
    const auto deviation = of.deviation();
    return {value(of.min()), value(of.max()), deviation ? ShownNumber(FormatGeneral(*deviation, kDigits)) : "--"};
  }
  std::string Line(const Row& row) const {
    std::string line;
    for (std::size_t k = 0; k < row.size() && width_ > 0; ++k) line += RightAligned(row[k], widths_[k]) + "  ";
    return line;
  }

  Language language_;
  std::array<std::size_t, 3> widths_{};
  std::size_t width_ = 0;
};

}  // namespace

std::string Sparkline(const std::deque<std::optional<float>>& values, std::size_t count) {
  const auto first = values.end() - static_cast<std::ptrdiff_t>(std::min(count, values.size()));
  float low = INFINITY;
  float high = -INFINITY;
  std::for_each(first, values.end(), [&](const auto& value) {
    if (value) low = std::min(low, *value), high = std::max(high, *value);
  });
  std::string line;
  std::for_each(first, values.end(), [&](const auto& value) {
    const float share = value && high > low ? (*value - low) / (high - low) : 0.5F;
    const auto eighth = static_cast<std::size_t>(std::clamp(share * 7.99F, 0.0F, 7.0F));
    line += value ? kEighths[eighth] : "×";
  });
  return line;
}

std::vector<std::string> LiveLines(std::span<const LiveRow> rows, std::size_t width, Language language) {
  const auto head = [&](TextId word) { return Shown(word, language); };
  const auto wide = [&](TextId word, std::size_t min) { return std::max(DisplayWidth(head(word)), min); };
  const std::size_t names =
      wide(TextId::kChannelHead, Widest(rows, [](const LiveRow& row) { return row.channel.name; }));
  const std::size_t values = wide(TextId::kValueHead, std::max<std::size_t>(10, Widest(rows, ShownValue)));
  const std::size_t units = wide(TextId::kUnitHead, Widest(rows, [](const LiveRow& row) { return row.channel.unit; }));
  const std::size_t used = names + values + units + 5;
  const std::size_t left = width > used ? width - used : 0;
  const StatisticsColumns statistics(rows, language, left > kMinTrend ? left - kMinTrend : 0);
  const std::size_t errors = Widest(rows, [](const LiveRow& row) { return row.error; });
  const std::size_t beside = left - statistics.width();
  const std::size_t trend =
      std::clamp(beside > errors + 2 ? beside - errors - 2 : 0, std::min(kMinTrend, beside), kHistory);
  const bool both = beside >= trend + 2 + std::min(errors, kMinError);

  const auto line = [&](const std::string& name, const std::string& value, const std::string& unit) {
    return Cut(PaddedTo(name, names) + "  " + RightAligned(value, values) + " " + PaddedTo(unit, units) + "  ", width);
  };
  std::vector<std::string> lines;
  lines.push_back(Bold(line(head(TextId::kChannelHead), head(TextId::kValueHead), head(TextId::kUnitHead)) +
                       statistics.Heads() + Cut(head(TextId::kTrendHead), beside)));
  for (const LiveRow& row : rows) {
    lines.push_back(line(row.channel.name, ShownValue(row), row.channel.unit));
    const bool failed = !row.error.empty();
    if (both || !failed) {
      lines.back() += statistics.Cells(row) + PaddedTo(Sparkline(row.history, trend), failed ? trend + 2 : 0);
    }
    if (failed) lines.back() += Red(Cut(row.error, both ? beside - trend - 2 : left));
  }
  return lines;
}

LiveTable::LiveTable(std::span<const Channel> channels, ErrorText error_text, Language language, const ScanPlan& plan)
    : error_text_(std::move(error_text)), language_(language), plan_(plan), begun_(SystemClock().LocalTime()) {
  for (const Channel& channel : channels) rows_.push_back({.channel = channel});
  Draw();
}

void LiveTable::Show(const ScanReport& report) {
  for (LiveRow& row : rows_) {
    const auto found = std::find(report.data.ids.begin(), report.data.ids.end(), row.channel.id);
    if (found == report.data.ids.end()) continue;
    const auto k = static_cast<std::size_t>(found - report.data.ids.begin());
    const HRESULT error = report.data.errors[k];
    row.error = Failed(error) ? FailureLine(error, error_text_(error)) : std::string();
    row.doubt = report.data.doubts[k];
    if (Failed(error)) ++failed_;
    if (!Failed(error)) row.statistics.Add(report.data.times[k], report.data.values[k]);
    row.history.push_back(Failed(error) ? std::nullopt : std::optional(report.data.values[k]));
    if (row.history.size() > kHistory) row.history.pop_front();
    last_ = report.data.times[k];
  }
  late_s_ = report.late_s;
  if (reports_++ == 0) first_ = last_;
  Draw();
}

void LiveTable::Finish() {
  finished_ = true;
  Draw();
}

// With a dead band the time between reports is not known, so a count of reports gives no time.
std::optional<double> LiveTable::TimeLeft(double elapsed) const {
  if (plan_.duration_s) return *plan_.duration_s - elapsed;
  const GroupSettings& settings = plan_.settings;
  if (!plan_.count || settings.dead_band_percent > 0 || settings.dead_band_abs > 0) return std::nullopt;
  return static_cast<double>(*plan_.count - std::min(reports_, *plan_.count)) * settings.period_ms / 1000;
}

// The most important part comes first, because a narrow terminal cuts the rest.
std::string LiveTable::StatusLine() const {
  if (reports_ == 0) return Shown(TextId::kWaitingForReport, language_);
  const double seconds = (last_ - first_) * kSecondsPerDay;
  const double rate = seconds > 0 ? static_cast<double>(reports_ - 1) / seconds : 0;
  std::string status = ShownNumber(IsoTime(last_).substr(11)) + ", ";
  status += Shown(TextId::kReports, language_, {std::to_string(reports_)}) + ", ";
  status += ShownNumber(FormatFixed(rate, 1)) + "/s";
  if (late_s_ > 0) status += ", " + Shown(TextId::kLateBy, language_, {ShownNumber(FormatFixed(late_s_, 1))});
  if (failed_ > 0) status += ", " + Shown(TextId::kReadingsFailed, language_, {std::to_string(failed_)});
  const double elapsed = (SystemClock().LocalTime() - begun_) * kSecondsPerDay;
  status += ", " + Shown(TextId::kElapsed, language_, {ClockText(elapsed)});
  if (finished_) return status;
  if (const auto left = TimeLeft(elapsed)) status += ", " + Shown(TextId::kTimeLeft, language_, {ClockText(*left)});
  return status + "; " + Shown(TextId::kCtrlCEnds, language_);
}

// When there are more channels than lines, only the first ones are shown: lines that scrolled off cannot be drawn
// again.
void LiveTable::Draw() {
  const auto width = static_cast<std::size_t>(std::max(platform::TerminalWidth(), 2)) - 1;
  const auto height = static_cast<std::size_t>(std::max(platform::TerminalHeight(), 5));
  auto lines = LiveLines(rows_, width, language_);
  if (lines.size() + 2 > height) {
    const std::size_t hidden = lines.size() - (height - 3);
    lines.resize(height - 3);
    lines.push_back(Cut(Shown(TextId::kMoreChannels, language_, {std::to_string(hidden)}), width));
  }
  lines.push_back(Cut(StatusLine(), width));
  block_.Show(lines);
}

}  // namespace ulix::cli

#include "tools/ulix/live_table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>

#include "base/numbers.h"
#include "platform/terminal.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"

namespace ulix::cli {
namespace {

constexpr std::size_t kHistory = 32;
constexpr std::array kEighths = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr double kSecondsPerDay = 86400;

// At most `width` columns of UTF-8.
std::string Cut(const std::string& text, std::size_t width) {
  if (DisplayWidth(text) <= width) return text;
  std::size_t end = text.size();
  while (end > 0 && DisplayWidth(std::string_view(text).substr(0, end)) > width) --end;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
  return text.substr(0, end);
}

std::string ShownValue(const LiveRow& row) {
  const bool held = !row.history.empty() && row.history.back();
  return held ? ShownNumber(FormatValue(row.channel, *row.history.back())) : std::string("--");
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

}  // namespace

std::string Sparkline(const std::deque<std::optional<float>>& values) {
  float low = INFINITY;
  float high = -INFINITY;
  for (const auto& value : values) {
    if (value) low = std::min(low, *value), high = std::max(high, *value);
  }
  std::string line;
  for (const auto& value : values) {
    const float share = value && high > low ? (*value - low) / (high - low) : 0.5F;
    const auto eighth = static_cast<std::size_t>(std::clamp(share * 7.99F, 0.0F, 7.0F));
    line += value ? kEighths[eighth] : " ";
  }
  return line;
}

std::vector<std::string> LiveLines(std::span<const LiveRow> rows, std::size_t width) {
  const std::size_t names = Widest(rows, [](const LiveRow& row) { return row.channel.name; });
  const std::size_t values = std::max<std::size_t>(10, Widest(rows, ShownValue));
  const std::size_t units = Widest(rows, [](const LiveRow& row) { return row.channel.unit; });
  std::vector<std::string> lines;
  for (const LiveRow& row : rows) {
    const std::string start = PaddedTo(row.channel.name, names) + "  " + RightAligned(ShownValue(row), values) + " " +
                              PaddedTo(row.channel.unit, units) + "  ";
    const std::size_t used = DisplayWidth(start);
    const std::size_t left = width > used ? width - used : 0;
    if (left < kHistory + 2) {
      lines.push_back(Cut(start + row.error, width));
      continue;
    }
    const std::string error = Cut(row.error, left - kHistory - 2);
    lines.push_back(start + PaddedTo(Sparkline(row.history), kHistory) + "  " + (error.empty() ? error : Red(error)));
  }
  return lines;
}

LiveTable::LiveTable(std::span<const Channel> channels, ErrorText error_text) : error_text_(std::move(error_text)) {
  for (const Channel& channel : channels) rows_.push_back({channel, {}, {}});
  Draw();
}

void LiveTable::Show(const ScanReport& report) {
  for (LiveRow& row : rows_) {
    const auto found = std::find(report.data.ids.begin(), report.data.ids.end(), row.channel.id);
    if (found == report.data.ids.end()) continue;
    const auto k = static_cast<std::size_t>(found - report.data.ids.begin());
    const HRESULT error = report.data.errors[k];
    row.error = Failed(error) ? FailureLine(error, error_text_(error)) : std::string();
    row.history.push_back(Failed(error) ? std::nullopt : std::optional(report.data.values[k]));
    if (row.history.size() > kHistory) row.history.pop_front();
    last_ = report.data.times[k];
  }
  if (reports_++ == 0) first_ = last_;
  Draw();
}

void LiveTable::Draw() {
  const auto width = static_cast<std::size_t>(platform::TerminalWidth());
  const double seconds = (last_ - first_) * kSecondsPerDay;
  const double rate = seconds > 0 ? static_cast<double>(reports_ - 1) / seconds : 0;
  auto lines = LiveLines(rows_, width - 1);
  const std::string clock = reports_ == 0 ? std::string("waiting") : IsoTime(last_).substr(11);
  lines.push_back(Cut(std::to_string(reports_) + (reports_ == 1 ? " report, " : " reports, ") +
                          ShownNumber(FormatFixed(rate, 1)) + "/s, " + clock + "; Ctrl-C ends",
                      width - 1));
  if (drawn_ > 0) std::cout << "\x1b[" << drawn_ << "A";
  for (const std::string& line : lines) std::cout << "\r" << line << "\x1b[K\n";
  std::cout.flush();
  drawn_ = lines.size();
}

}  // namespace ulix::cli

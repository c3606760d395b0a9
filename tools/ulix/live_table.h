// A scan as a table that is redrawn in place on a terminal.
#pragma once

#include <deque>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/ulix/csv.h"
#include "tools/ulix/recording.h"
#include "tools/ulix/scan.h"
#include "tools/ulix/screen_block.h"

namespace ulix::cli {

// The last `count` values as a line of block characters, from the lowest to the highest shown value. A cross is a
// failed reading.
std::string Sparkline(const std::deque<std::optional<float>>& values, std::size_t count);

struct LiveRow {
  Channel channel;
  std::deque<std::optional<float>> history;  // the oldest reading first
  Statistics statistics;
  std::string error;           // error of the last reading, UTF-8; empty when it succeeded
  Doubt doubt = Doubt::kNone;  // doubt about the last reading
};

// The headings and one line for each channel, none longer than `width` columns. An error that leaves no room for the
// trend is shown in its place.
std::vector<std::string> LiveLines(std::span<const LiveRow> rows, std::size_t width, Language language);

class LiveTable final : public ScanOutput {
 public:
  // `plan` says when the scan ends.
  LiveTable(std::span<const Channel> channels, ErrorText error_text, Language language, const ScanPlan& plan);
  void Show(const ScanReport& report) override;
  void Finish() override;

 private:
  void Draw();
  std::string StatusLine() const;
  // The time left in seconds; nullopt when only Ctrl-C ends the scan.
  std::optional<double> TimeLeft(double elapsed) const;

  std::vector<LiveRow> rows_;
  ErrorText error_text_;
  Language language_;
  ScanPlan plan_;
  Date begun_ = 0;
  std::uint64_t reports_ = 0;
  std::uint64_t failed_ = 0;  // Failed readings.
  bool finished_ = false;     // No report will come.
  double late_s_ = 0;         // Lateness of the last report, seconds.
  Date first_ = 0;
  Date last_ = 0;
  ScreenBlock block_;
};

}  // namespace ulix::cli

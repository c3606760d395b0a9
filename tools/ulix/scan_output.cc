#include "tools/ulix/scan_output.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "base/date.h"
#include "base/numbers.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/live_table.h"
#include "tools/ulix/measurement_notes.h"
#include "tools/ulix/output.h"
#include "tools/ulix/svg_plot.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

class JsonLines final : public ScanOutput {
 public:
  void Show(const ScanReport& report) override { PrintLine(ScanJson(report).dump()); }
};

class PlainLines final : public ScanOutput {
 public:
  PlainLines(std::span<const Channel> channels, ErrorText error_text, Language language)
      : channels_(channels.begin(), channels.end()), error_text_(std::move(error_text)), language_(language) {}
  void Show(const ScanReport& report) override { PrintLine(ScanText(channels_, report, error_text_, language_)); }

 private:
  std::vector<Channel> channels_;
  ErrorText error_text_;
  Language language_;
};

class ScanCsvFile final : public ScanOutput {
 public:
  ScanCsvFile(const std::string& path, const std::string& notes, char separator, std::span<const Channel> channels,
              ErrorText error_text)
      : stream_(path),
        separator_(separator),
        channels_(channels.begin(), channels.end()),
        error_text_(std::move(error_text)) {
    stream_.Write(notes + CsvHeader(channels_, separator_));
  }
  void Show(const ScanReport& report) override {
    // The offset from UTC may change during a scan, when daylight saving time begins or ends.
    const std::string offset = UtcOffset();
    if (std::exchange(offset_, offset) != offset) stream_.Write("# utc-offset: " + offset + "\n");
    stream_.Write(CsvRow(channels_, report.data, error_text_, separator_, report.late_s));
  }

 private:
  CsvStream stream_;
  char separator_;
  std::vector<Channel> channels_;
  ErrorText error_text_;
  std::string offset_ = UtcOffset();
};

class ScanPlotFile final : public ScanOutput {
 public:
  ScanPlotFile(std::string path, std::string title, std::span<const Channel> channels, Language language)
      : path_(std::move(path)), title_(std::move(title)), language_(language) {
    for (const Channel& channel : channels) {
      ids_.push_back(channel.id);
      curves_.push_back({channel.name, channel.unit, {}});
    }
  }
  void Show(const ScanReport& report) override {
    for (std::size_t k = 0; k < report.data.size(); ++k) {
      const auto curve = std::find(ids_.begin(), ids_.end(), report.data.ids[k]) - ids_.begin();
      const bool failed = Failed(report.data.errors[k]);
      const auto value = failed ? std::nullopt : std::optional(report.data.values[k]);
      curves_.at(static_cast<std::size_t>(curve))
          .Add({report.data.times[k], value, report.data.doubts[k] != Doubt::kNone, report.late_s > 0});
    }
  }
  void Finish() override { WriteWholeFile(path_, PlotSvg(title_, curves_, language_)); }

 private:
  std::string path_;
  std::string title_;
  Language language_;
  std::vector<ChannelId> ids_;  // the channel of each curve
  std::vector<PlotCurve> curves_;
};

class ScanReportFile final : public ScanOutput {
 public:
  ScanReportFile(ReportPlan plan, std::span<const Channel> channels) : plan_(std::move(plan)), recording_(channels) {}
  void Show(const ScanReport& report) override { recording_.AddReport(report.data, report.late_s); }
  void Finish() override { WriteReport(plan_, recording_); }

 private:
  ReportPlan plan_;
  Recording recording_;
};

}  // namespace

Json ScanJson(const ScanReport& report) {
  Json channels = Json::array();
  for (std::size_t k = 0; k < report.data.size(); ++k) {
    const HRESULT error = report.data.errors[k];
    Json channel = {{"id", report.data.ids[k]},
                    {"value", Failed(error) ? Json(nullptr) : JsonNumber(report.data.values[k])},
                    {"error", JsonError(error)}};
    const Doubt doubt = report.data.doubts[k];
    if (doubt != Doubt::kNone && !Failed(error)) channel["doubt"] = DoubtText(doubt);
    channels.push_back(std::move(channel));
  }
  const std::string time = report.data.times.empty() ? std::string() : IsoTime(report.data.times.front());
  Json json = {{"group", report.group}, {"time", time}, {"channels", std::move(channels)}};
  if (report.late_s > 0) json["late"] = JsonNumber(static_cast<float>(std::round(report.late_s * 1000) / 1000));
  return json;
}

std::string ScanText(std::span<const Channel> channels, const ScanReport& report, const ErrorText& error_text,
                     Language language) {
  std::string text = report.data.times.empty() ? std::string() : IsoTime(report.data.times.front());
  for (std::size_t k = 0; k < report.data.size(); ++k) {
    const auto channel = std::find_if(channels.begin(), channels.end(),
                                      [&](const Channel& candidate) { return candidate.id == report.data.ids[k]; });
    if (channel == channels.end()) continue;
    const HRESULT error = report.data.errors[k];
    text += "  " + channel->name + " ";
    text += Failed(error) ? FailureLine(error, error_text(error))
                          : FormatWithUnit(*channel, report.data.values[k]) + DoubtMark(report.data.doubts[k]);
  }
  if (report.late_s <= 0) return text;
  return text + "  " + Shown(TextId::kLateRemark, language, {ShownNumber(FormatFixed(report.late_s, 1))});
}

std::unique_ptr<ScanOutput> MakeJsonLines() { return std::make_unique<JsonLines>(); }

std::unique_ptr<ScanOutput> MakePlainLines(std::span<const Channel> channels, ErrorText error_text, Language language) {
  return std::make_unique<PlainLines>(channels, std::move(error_text), language);
}

std::unique_ptr<ScanOutput> MakeScreen(std::span<const Channel> channels, ErrorText error_text, Language language,
                                       const ScanPlan& plan) {
  if (OnTerminal()) return std::make_unique<LiveTable>(channels, std::move(error_text), language, plan);
  return MakePlainLines(channels, std::move(error_text), language);
}

std::unique_ptr<ScanOutput> MakeCsvFile(const std::string& path, const std::string& notes, char separator,
                                        std::span<const Channel> channels, ErrorText error_text) {
  return std::make_unique<ScanCsvFile>(path, notes, separator, channels, std::move(error_text));
}

std::unique_ptr<ScanOutput> MakePlotFile(const std::string& path, const std::string& title,
                                         std::span<const Channel> channels, Language language) {
  return std::make_unique<ScanPlotFile>(path, title, channels, language);
}

std::unique_ptr<ScanOutput> MakeReportFile(ReportPlan plan, std::span<const Channel> channels) {
  return std::make_unique<ScanReportFile>(std::move(plan), channels);
}

}  // namespace ulix::cli

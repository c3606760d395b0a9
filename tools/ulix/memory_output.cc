#include "tools/ulix/memory_output.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>
#include <map>

#include "base/date.h"
#include "base/numbers.h"
#include "platform/files.h"
#include "tools/ulix/csv.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/svg_plot.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

// The value of a record; none if its code is not 0. Positive codes are errors too, because they are the logger's own.
std::optional<float> ValueOf(const ChannelArrays& records, std::size_t k) {
  const bool good = records.errors[k] == 0 && std::isfinite(records.values[k]);
  return good ? std::optional(records.values[k]) : std::nullopt;
}

std::string RecordErrorText(HRESULT code) {
  return IsRecordCode(code) ? Shown(TextId::kOwnRecordCode, {std::to_string(code)}) : CodeText(code);
}

class Lines final : public RecordSink {
 public:
  explicit Lines(std::span<const Channel> known) : known_(known.begin(), known.end()) {}
  HRESULT Take(const ChannelArrays& records) override {
    for (std::size_t k = 0; k < records.size(); ++k) text_ += RecordLine(records, k, known_) + '\n';
    return S_OK;
  }
  HRESULT Complete() override {
    std::cout << text_ << std::flush;
    if (!std::cout) throw CannotPrint();
    return S_OK;
  }

 private:
  std::vector<Channel> known_;
  std::string text_;
};

class JsonArray final : public RecordSink {
 public:
  explicit JsonArray(std::span<const Channel> known) : known_(known.begin(), known.end()) {}
  HRESULT Take(const ChannelArrays& records) override {
    for (std::size_t k = 0; k < records.size(); ++k)
      text_ += (text_.empty() ? "" : ",") + RecordJson(records, k, known_);
    return S_OK;
  }
  HRESULT Complete() override {
    PrintLine("[" + text_ + "]");
    return S_OK;
  }

 private:
  std::vector<Channel> known_;
  std::string text_;
};

class MemoryCsvFile final : public RecordSink {
 public:
  MemoryCsvFile(const std::string& path, const std::string& notes, char separator)
      : path_(path), separator_(separator), file_(path == kStandardOutput ? nullptr : new platform::NewFile(path)) {
    const std::array<std::string, 4> heads = {"time", "channel", "value", "error"};
    Write(notes + CsvLine(heads, separator_));
  }
  HRESULT Take(const ChannelArrays& records) override {
    for (std::size_t k = 0; k < records.size(); ++k) {
      const auto value = ValueOf(records, k);
      const std::array<std::string, 4> cells = {
          IsoTime(records.times[k]), std::to_string(static_cast<std::int32_t>(records.ids[k])),
          value ? FormatShortest(*value) : "", records.errors[k] == 0 ? "" : CodeText(records.errors[k])};
      Write(CsvLine(cells, separator_));
    }
    return S_OK;
  }
  HRESULT Complete() override {
    if (file_ && !file_->Commit()) throw CannotWrite(path_);
    if (!file_) std::cout << text_ << std::flush;
    if (!file_ && !std::cout) throw CannotPrint();
    return S_OK;
  }

 private:
  void Write(const std::string& line) {
    if (!file_) text_ += line;
    if (file_ && !file_->Write(line)) throw CannotWrite(path_);
  }
  std::string path_;
  char separator_;
  std::unique_ptr<platform::NewFile> file_;  // Null for standard output, which is written at the end.
  std::string text_;
};

class MemoryPlotFile final : public RecordSink {
 public:
  MemoryPlotFile(std::string path, std::string title, Language language, std::span<const Channel> known)
      : path_(std::move(path)), title_(std::move(title)), language_(language), known_(known.begin(), known.end()) {}
  HRESULT Take(const ChannelArrays& records) override {
    for (std::size_t k = 0; k < records.size(); ++k) {
      const auto [curve, added] = curves_.try_emplace(records.ids[k]);
      const Channel channel = added ? ChannelOf(known_, records.ids[k]) : Channel();
      if (added) curve->second = {channel.name, channel.unit, {}};
      curve->second.Add({records.times[k], ValueOf(records, k)});
    }
    return S_OK;
  }
  HRESULT Complete() override {
    std::vector<PlotCurve> curves;
    for (auto& [id, curve] : curves_) curves.push_back(std::move(curve));
    WriteWholeFile(path_, PlotSvg(title_, curves, language_));
    return S_OK;
  }

 private:
  std::string path_;
  std::string title_;
  Language language_;
  std::vector<Channel> known_;
  std::map<ChannelId, PlotCurve> curves_;
};

class MemoryReportFile final : public RecordSink {
 public:
  MemoryReportFile(ReportPlan plan, std::span<const Channel> known) : plan_(std::move(plan)), recording_({}, known) {}
  HRESULT Take(const ChannelArrays& records) override {
    recording_.AddRecords(records);
    return S_OK;
  }
  HRESULT Complete() override {
    WriteReport(plan_, recording_);
    return S_OK;
  }

 private:
  ReportPlan plan_;
  Recording recording_;
};

}  // namespace

std::string RecordJson(const ChannelArrays& records, std::size_t k, std::span<const Channel> known) {
  const auto value = ValueOf(records, k);
  Json record = {{"channel", static_cast<std::int32_t>(records.ids[k])},
                 {"value", value ? JsonNumber(*value) : Json(nullptr)},
                 {"error", JsonError(records.errors[k])},
                 {"time", IsoTime(records.times[k])}};
  const auto channel =
      std::find_if(known.begin(), known.end(), [&](const Channel& c) { return c.id == records.ids[k]; });
  if (channel != known.end()) record["name"] = channel->name;
  if (channel != known.end()) record["unit"] = channel->unit;
  return record.dump();
}

std::string RecordLine(const ChannelArrays& records, std::size_t k, std::span<const Channel> known) {
  const auto value = ValueOf(records, k);
  const Channel channel = ChannelOf(known, records.ids[k]);
  const std::string shown = value                    ? ShownNumber(FormatWithUnit(channel, *value))
                            : records.errors[k] != 0 ? RecordErrorText(records.errors[k])
                                                     : std::string("--");
  return IsoTime(records.times[k]) + "  " + channel.name + "  " + shown;
}

std::unique_ptr<RecordSink> MakeRecordLines(std::span<const Channel> known) { return std::make_unique<Lines>(known); }
std::unique_ptr<RecordSink> MakeRecordJson(std::span<const Channel> known) {
  return std::make_unique<JsonArray>(known);
}
std::unique_ptr<RecordSink> MakeRecordCsv(const std::string& path, const std::string& notes, char separator) {
  return std::make_unique<MemoryCsvFile>(path, notes, separator);
}
std::unique_ptr<RecordSink> MakeRecordPlot(const std::string& path, const std::string& title, Language language,
                                           std::span<const Channel> known) {
  return std::make_unique<MemoryPlotFile>(path, title, language, known);
}
std::unique_ptr<RecordSink> MakeRecordReport(ReportPlan plan, std::span<const Channel> known) {
  return std::make_unique<MemoryReportFile>(std::move(plan), known);
}

HRESULT RecordSinks::Take(const ChannelArrays& records) {
  HRESULT result = S_OK;
  for (const auto& sink : sinks_) result = Failed(result) ? result : sink->Take(records);
  return result;
}

HRESULT RecordSinks::Complete() {
  HRESULT result = S_OK;
  for (const auto& sink : sinks_) result = Failed(result) ? result : sink->Complete();
  complete_ = Succeeded(result);
  return result;
}

}  // namespace ulix::cli

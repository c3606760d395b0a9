// Where the records of a memory block go: the screen, JSON, a CSV file, a plot.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "core/record_sink.h"
#include "tools/ulix/report.h"

namespace ulix::cli {

// One record as the command line shows it. `k` is its place in the arrays; of the `known` channels the name and the
// unit are told.
std::string RecordJson(const ChannelArrays& records, std::size_t k, std::span<const Channel> known = {});
std::string RecordLine(const ChannelArrays& records, std::size_t k, std::span<const Channel> known = {});

// Each throws OperationFailed when it cannot write. Nothing is shown and no file is in place before Complete. What is
// kept for the screen is bounded by the 65535 records that a block holds at most; a CSV file grows as they come.
std::unique_ptr<RecordSink> MakeRecordLines(std::span<const Channel> known);
std::unique_ptr<RecordSink> MakeRecordJson(std::span<const Channel> known);
std::unique_ptr<RecordSink> MakeRecordCsv(const std::string& path, const std::string& notes, char separator);
std::unique_ptr<RecordSink> MakeRecordPlot(const std::string& path, const std::string& title, Language language,
                                           std::span<const Channel> known);
std::unique_ptr<RecordSink> MakeRecordReport(ReportPlan plan, std::span<const Channel> known);

// Hands all to each of several, and completes them in order.
class RecordSinks final : public RecordSink {
 public:
  void Add(std::unique_ptr<RecordSink> sink) { sinks_.push_back(std::move(sink)); }
  HRESULT Take(const ChannelArrays& records) override;
  HRESULT Complete() override;
  bool complete() const { return complete_; }

 private:
  std::vector<std::unique_ptr<RecordSink>> sinks_;
  bool complete_ = false;
};

}  // namespace ulix::cli

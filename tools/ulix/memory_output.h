// The outputs for the records of a memory block: screen, JSON, CSV file, plot.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "core/record_sink.h"
#include "tools/ulix/report.h"

namespace ulix::cli {

// One record as JSON. `k` is its index in the arrays. `known` supplies the name and the unit of channels.
std::string RecordJson(const ChannelArrays& records, std::size_t k, std::span<const Channel> known = {});
std::string RecordLine(const ChannelArrays& records, std::size_t k, std::span<const Channel> known = {});

// Each output throws OperationFailed when it cannot write. Nothing is shown and no file is replaced before Complete.
// The screen output stores at most 65535 records, the size of a block; a CSV file grows while the records come.
std::unique_ptr<RecordSink> MakeRecordLines(std::span<const Channel> known);
std::unique_ptr<RecordSink> MakeRecordJson(std::span<const Channel> known);
std::unique_ptr<RecordSink> MakeRecordCsv(const std::string& path, const std::string& notes, char separator);
std::unique_ptr<RecordSink> MakeRecordPlot(const std::string& path, const std::string& title, Language language,
                                           std::span<const Channel> known);
std::unique_ptr<RecordSink> MakeRecordReport(ReportPlan plan, std::span<const Channel> known);

// Gives the records to several outputs, and completes them in order.
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

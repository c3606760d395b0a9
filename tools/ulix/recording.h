// Collects the readings of a scan or of a memory block for a report. The memory it takes is bounded, however many
// readings come.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "drivers/channel_arrays.h"
#include "tools/ulix/channels.h"
#include "tools/ulix/plot_curve.h"

namespace ulix::cli {

// The statistics of one channel's readings. They are updated with each reading; no reading is stored.
class Statistics {
 public:
  void Add(Date time, double value);
  void AddFailure() { ++failed_; }

  std::uint64_t good() const { return good_; }
  std::uint64_t failed() const { return failed_; }
  std::uint64_t count() const { return good_ + failed_; }
  // The functions from here on describe the good readings. At least one must have come.
  double first() const { return first_; }
  double last() const { return last_; }
  double min() const { return min_; }
  double max() const { return max_; }
  double mean() const { return mean_; }
  // The sample standard deviation; nullopt for fewer than two readings.
  std::optional<double> deviation() const;
  // The slope of the best-fit straight line, per hour; nullopt when all readings came at the same moment.
  std::optional<double> drift() const;

 private:
  std::uint64_t good_ = 0;
  std::uint64_t failed_ = 0;
  double first_ = 0;
  double last_ = 0;
  double min_ = 0;
  double max_ = 0;
  double mean_ = 0;
  double squares_ = 0;  // sum of the squared distances from the mean
  double mean_time_ = 0;
  double time_squares_ = 0;
  double products_ = 0;
};

struct RecordedChannel {
  Channel channel;
  Statistics statistics;
  PlotCurve curve;
};

// A run of successive failed readings of one channel, all for the same reason.
struct RecordedFailure {
  std::size_t channel = 0;  // index in the recording
  HRESULT code = S_OK;
  Date first = 0;
  Date last = 0;
  std::uint64_t readings = 0;
};

// One channel's cell in a row: a value, a failure, or nothing.
struct RecordedCell {
  bool held = false;
  std::optional<float> value;
  HRESULT code = S_OK;
  bool doubtful = false;
};

struct RecordedRow {
  std::uint64_t number = 0;  // from 1
  Date time = 0;
  double late_s = 0;                // delay after its scan, when longer than a period; else 0
  std::vector<RecordedCell> cells;  // one for each channel known at that time, in the order of the channels
};

class Recording {
 public:
  static constexpr std::size_t kMaxRows = 2000;  // of more rows, the first and the last half of this number are kept
  static constexpr std::size_t kMaxFailures = 200;

  // `known` supplies the name and the unit of a channel that appears only later in the recording.
  explicit Recording(std::span<const Channel> channels, std::span<const Channel> known = {});

  // Adds one row. `late_s` is the delay after its scan in seconds, when longer than a period; else 0.
  void AddReport(const ChannelArrays& report, double late_s = 0);
  // Adds one row for each time. A new channel gets a column. Any code but 0 is a failure, because loggers have codes of
  // their own.
  void AddRecords(const ChannelArrays& records);

  const std::vector<RecordedChannel>& channels() const { return channels_; }
  // All rows; of more than kMaxRows, only the first and the last ones.
  std::vector<const RecordedRow*> Rows() const;
  std::uint64_t row_count() const { return row_count_; }
  std::uint64_t late_count() const { return late_count_; }  // number of late rows
  const std::vector<RecordedFailure>& failures() const { return failures_; }
  std::uint64_t failures_left_out() const { return failures_left_out_; }  // readings
  Date first_time() const { return first_time_; }
  Date last_time() const { return last_time_; }

 private:
  std::size_t PlaceOf(ChannelId id);
  RecordedRow& NewRow(Date time, double late_s = 0);
  RecordedRow& LastRow() { return last_rows_.empty() ? first_rows_.back() : last_rows_.back(); }
  void AddReading(std::size_t place, Date time, const RecordedCell& cell, bool late = false);
  void AddFailure(std::size_t place, Date time, HRESULT code);

  std::vector<Channel> known_;
  std::vector<RecordedChannel> channels_;
  // For each channel, the index of its failure run that is still going on.
  std::vector<std::optional<std::size_t>> open_failures_;
  std::vector<RecordedRow> first_rows_;
  std::deque<RecordedRow> last_rows_;
  std::uint64_t row_count_ = 0;
  std::uint64_t late_count_ = 0;
  std::vector<RecordedFailure> failures_;
  std::uint64_t failures_left_out_ = 0;
  Date first_time_ = 0;
  Date last_time_ = 0;
};

}  // namespace ulix::cli

// The readings of a scan or of a memory block as they come, and what a report says of them. What is kept is bounded,
// however many come.
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

// Of the readings of one channel; each is updated as readings come, none is stored.
class Statistics {
 public:
  void Add(Date time, double value);
  void AddFailure() { ++failed_; }

  std::uint64_t good() const { return good_; }
  std::uint64_t failed() const { return failed_; }
  std::uint64_t count() const { return good_ + failed_; }
  // Of good readings, of which there is one at least.
  double first() const { return first_; }
  double last() const { return last_; }
  double least() const { return least_; }
  double most() const { return most_; }
  double mean() const { return mean_; }
  // Of the sample; none for fewer than two readings.
  std::optional<double> deviation() const;
  // Slope of the straight line that fits best, an hour; none for readings at one moment.
  std::optional<double> drift() const;

 private:
  std::uint64_t good_ = 0;
  std::uint64_t failed_ = 0;
  double first_ = 0;
  double last_ = 0;
  double least_ = 0;
  double most_ = 0;
  double mean_ = 0;
  double squares_ = 0;  // of distances from the mean
  double mean_time_ = 0;
  double time_squares_ = 0;
  double products_ = 0;
};

struct RecordedChannel {
  Channel channel;
  Statistics statistics;
  PlotCurve curve;
};

// Readings of one channel that failed one after the other for the same reason.
struct RecordedFailure {
  std::size_t channel = 0;  // its place in the recording
  HRESULT code = S_OK;
  Date first = 0;
  Date last = 0;
  std::uint64_t readings = 0;
};

// What is in a row for one channel: a value, a failure, or nothing.
struct RecordedCell {
  bool held = false;
  std::optional<float> value;
  HRESULT code = S_OK;
  bool doubtful = false;
};

struct RecordedRow {
  std::uint64_t number = 0;  // from 1
  Date time = 0;
  double late_s = 0;                // how long after its scan it came, where that is more than a period
  std::vector<RecordedCell> cells;  // of the channels known by then, in their order
};

class Recording {
 public:
  static constexpr std::size_t kMaxRows = 2000;  // the first half and the last half of more
  static constexpr std::size_t kMaxFailures = 200;

  // Of a channel that comes later, `known` has the name and the unit, where it has the channel.
  explicit Recording(std::span<const Channel> channels, std::span<const Channel> known = {});

  // One row. `late_s`: how long after its scan it came, where that is more than a period.
  void AddReport(const ChannelArrays& report, double late_s = 0);
  // A row for each time. A channel that is new gets a place; any code but 0 is a failure, since loggers have their own.
  void AddRecords(const ChannelArrays& records);

  const std::vector<RecordedChannel>& channels() const { return channels_; }
  // All or, where these are more, the first and the last.
  std::vector<const RecordedRow*> Rows() const;
  std::uint64_t row_count() const { return row_count_; }
  std::uint64_t late_count() const { return late_count_; }  // of the rows
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
  std::vector<std::optional<std::size_t>> open_failures_;  // of the channels: the place of the one that goes on
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

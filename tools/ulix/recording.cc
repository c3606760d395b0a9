#include "tools/ulix/recording.h"

#include <algorithm>
#include <cmath>

namespace ulix::cli {
namespace {

constexpr double kHoursPerDay = 24;

}  // namespace

void Statistics::Add(Date time, double value) {
  if (good_++ == 0) first_ = min_ = max_ = value;
  last_ = value;
  min_ = std::min(min_, value);
  max_ = std::max(max_, value);
  const auto count = static_cast<double>(good_);
  const double from_time = time - mean_time_;
  const double from_mean = value - mean_;
  mean_time_ += from_time / count;
  mean_ += from_mean / count;
  squares_ += from_mean * (value - mean_);
  time_squares_ += from_time * (time - mean_time_);
  products_ += from_time * (value - mean_);
}

std::optional<double> Statistics::deviation() const {
  if (good_ < 2) return std::nullopt;
  return std::sqrt(std::max(squares_, 0.0) / static_cast<double>(good_ - 1));
}

std::optional<double> Statistics::drift() const {
  if (good_ < 2 || time_squares_ <= 0) return std::nullopt;
  return products_ / time_squares_ / kHoursPerDay;
}

Recording::Recording(std::span<const Channel> channels, std::span<const Channel> known)
    : known_(known.begin(), known.end()) {
  for (const Channel& channel : channels) channels_.push_back({channel, {}, {channel.name, channel.unit, {}}});
  open_failures_.resize(channels_.size());
}

std::size_t Recording::PlaceOf(ChannelId id) {
  const auto found = std::find_if(channels_.begin(), channels_.end(),
                                  [id](const RecordedChannel& recorded) { return recorded.channel.id == id; });
  if (found != channels_.end()) return static_cast<std::size_t>(found - channels_.begin());
  const Channel channel = ChannelOf(known_, id);
  channels_.push_back({channel, {}, {channel.name, channel.unit, {}}});
  open_failures_.emplace_back();
  return channels_.size() - 1;
}

RecordedRow& Recording::NewRow(Date time, double late_s) {
  if (row_count_++ == 0) first_time_ = time;
  last_time_ = time;
  if (late_s > 0) ++late_count_;
  RecordedRow row{row_count_, time, late_s, std::vector<RecordedCell>(channels_.size())};
  if (first_rows_.size() < kMaxRows / 2) return first_rows_.emplace_back(std::move(row));
  last_rows_.push_back(std::move(row));
  if (last_rows_.size() > kMaxRows / 2) last_rows_.pop_front();
  return last_rows_.back();
}

void Recording::AddReading(std::size_t place, Date time, const RecordedCell& cell, bool late) {
  RecordedChannel& channel = channels_[place];
  channel.curve.Add({time, cell.value, cell.doubtful, late});
  if (cell.value) {
    channel.statistics.Add(time, *cell.value);
    open_failures_[place].reset();
  } else {
    channel.statistics.AddFailure();
    AddFailure(place, time, cell.code);
  }
}

void Recording::AddFailure(std::size_t place, Date time, HRESULT code) {
  auto& open = open_failures_[place];
  if (open && failures_[*open].code == code) {
    failures_[*open].last = time;
    ++failures_[*open].readings;
    return;
  }
  open.reset();
  if (failures_.size() == kMaxFailures) {
    ++failures_left_out_;
    return;
  }
  open = failures_.size();
  failures_.push_back({place, code, time, time, 1});
}

void Recording::AddReport(const ChannelArrays& report, double late_s) {
  if (report.size() == 0) return;
  RecordedRow& row = NewRow(report.times.front(), late_s);
  for (std::size_t k = 0; k < report.size(); ++k) {
    const std::size_t place = PlaceOf(report.ids[k]);
    const bool failed = Failed(report.errors[k]) || !std::isfinite(report.values[k]);
    const RecordedCell cell{true, failed ? std::nullopt : std::optional(report.values[k]), report.errors[k],
                            report.doubts[k] != Doubt::kNone};
    if (place < row.cells.size()) row.cells[place] = cell;
    AddReading(place, report.times[k], cell, late_s > 0);
  }
}

void Recording::AddRecords(const ChannelArrays& records) {
  for (std::size_t k = 0; k < records.size(); ++k) {
    const std::size_t place = PlaceOf(records.ids[k]);
    RecordedRow* row = row_count_ == 0 || last_time_ != records.times[k] ? &NewRow(records.times[k]) : &LastRow();
    if (row->cells.size() > place && row->cells[place].held) row = &NewRow(records.times[k]);
    row->cells.resize(channels_.size());
    const bool good = records.errors[k] == S_OK && std::isfinite(records.values[k]);
    row->cells[place] = {true, good ? std::optional(records.values[k]) : std::nullopt, records.errors[k]};
    AddReading(place, records.times[k], row->cells[place]);
  }
}

std::vector<const RecordedRow*> Recording::Rows() const {
  std::vector<const RecordedRow*> rows;
  for (const RecordedRow& row : first_rows_) rows.push_back(&row);
  for (const RecordedRow& row : last_rows_) rows.push_back(&row);
  return rows;
}

}  // namespace ulix::cli

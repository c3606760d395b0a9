#include "tools/ulix/csv_measurement.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>

#include "base/numbers.h"
#include "platform/files.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

constexpr double kMinutesPerDay = 24 * 60;
constexpr std::size_t kMaxChannels = 1000;

std::optional<Date> ParseTime(const std::string& text) {
  CivilTime time{};
  int read = 0;
  const int fields = std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%3d%n", &time.year, &time.month, &time.day,
                                 &time.hour, &time.minute, &time.second, &time.millisecond, &read);
  if (fields != 7 || static_cast<std::size_t>(read) != text.size()) return std::nullopt;
  return DateFromCivil(time);
}

// An offset such as "+01:00", in minutes.
std::optional<int> ParseOffset(const std::string& text) {
  int hours = 0, minutes = 0;
  if (text.size() != 6 || std::sscanf(text.c_str() + 1, "%2d:%2d", &hours, &minutes) != 2) return std::nullopt;
  return (text[0] == '-' ? -1 : 1) * (hours * 60 + minutes);
}

std::optional<float> ParseCell(const std::string& cell) {
  float value = 0;
  const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), value);
  return error == std::errc() && end == cell.data() + cell.size() ? std::optional(value) : std::nullopt;
}

// The code at the start of a cell such as "0x80044403 Unable to read answer"; none if it does not begin with one.
std::optional<HRESULT> CodeIn(const std::string& cell) {
  if (!cell.starts_with("0x")) return std::nullopt;
  return static_cast<HRESULT>(std::strtoul(cell.c_str(), nullptr, 16));
}

// The seconds in "late 1.2 s", which may follow another remark.
double LateIn(const std::string& cell) {
  const std::size_t at = cell.find("late ");
  return at == std::string::npos ? 0 : std::strtod(cell.c_str() + at + 5, nullptr);
}

// Reads the lines of one file.
class Reader {
 public:
  explicit Reader(const std::string& path) : path_(path) {
    errno = 0;
    file_.open(platform::PathOf(path), std::ios::binary);
    if (!file_) throw CannotRead(path);
  }

  CsvMeasurement Read() {
    std::string line;
    while (std::getline(file_, line)) {
      ++number_;
      if (line.ends_with('\r')) line.pop_back();
      if (line.starts_with("# ")) {
        TakeNote(line.substr(2));
      } else if (!has_head_) {
        TakeHead(line);
      } else if (!line.empty()) {
        TakeRow(Cells(line));
      }
    }
    if (file_.bad()) throw CannotRead(path_);
    if (!has_head_) Refuse(TextId::kCsvNoMeasurement);
    return std::move(measurement_);
  }

 private:
  [[noreturn]] void Refuse(TextId what, std::initializer_list<std::string> values = {}) const {
    const std::string line = std::to_string(std::max<std::size_t>(number_, 1));
    throw UsageError(path_, Shown(TextId::kCsvLine, {line, Shown(what, values)}));
  }

  void TakeNote(const std::string& note) {
    const std::size_t end = note.find(": ");
    if (end == std::string::npos) return;
    measurement_.notes.emplace_back(note.substr(0, end), note.substr(end + 2));
    const auto& [key, text] = measurement_.notes.back();
    if (key != "utc-offset") return;
    const auto offset = ParseOffset(text);
    if (!offset) return;
    if (!first_offset_) first_offset_ = offset;
    shift_ = (*first_offset_ - *offset) / kMinutesPerDay;
  }

  // Quoted cells may hold the separator and doubled quotes.
  std::vector<std::string> Cells(const std::string& line) const {
    std::vector<std::string> cells(1);
    bool quoted = false;
    for (std::size_t k = 0; k < line.size(); ++k) {
      if (line[k] == '"' && quoted && k + 1 < line.size() && line[k + 1] == '"') {
        cells.back() += line[++k];
      } else if (line[k] == '"') {
        quoted = !quoted;
      } else if (line[k] == separator_ && !quoted) {
        cells.emplace_back();
      } else {
        cells.back() += line[k];
      }
    }
    return cells;
  }

  void TakeHead(const std::string& line) {
    constexpr std::string_view kSeparators = ",;\t";
    const bool head = line.starts_with("time") && line.size() > 4 && kSeparators.find(line[4]) != std::string::npos;
    if (!head) Refuse(TextId::kCsvNoHeading);
    separator_ = line[4];
    has_head_ = true;
    const auto cells = Cells(line);
    is_memory_ = cells == std::vector<std::string>{"time", "channel", "value", "error"};
    if (!is_memory_ && (cells.size() % 2 == 0 || cells.size() > 2 * kMaxChannels)) Refuse(TextId::kCsvNoPairs);
    is_memory_ ? KnowChannels() : TakeChannels(cells);
  }

  // The channel id that a note gives for this name, or `otherwise`.
  ChannelId IdOf(const std::string& name, ChannelId otherwise) const {
    for (const auto& [key, text] : measurement_.notes) {
      if (key.starts_with("channel ") && text == name)
        return static_cast<ChannelId>(std::strtoul(key.c_str() + 8, nullptr, 10));
    }
    return otherwise;
  }

  Channel ChannelNamed(const std::string& name, ChannelId id) const {
    const std::string decimals = measurement_.Note("decimals " + name);
    const int resolution = decimals.empty() ? kShortest : std::clamp(std::atoi(decimals.c_str()), 0, 9);
    return {id, name, ChanIn, measurement_.Note("unit " + name), resolution};
  }

  // Determines the channels of a memory block: those in the notes and those in the rows.
  void KnowChannels() {
    std::vector<Channel> known;
    for (const auto& [key, name] : measurement_.notes) {
      if (key.starts_with("channel ")) known.push_back(ChannelNamed(name, IdOf(name, 0)));
    }
    measurement_.recording = Recording({}, known);
  }

  void TakeChannels(const std::vector<std::string>& heads) {
    for (std::size_t k = 1; k + 1 < heads.size(); k += 2) {
      const std::string& error_head = heads[k + 1];
      constexpr std::string_view kError = " error";
      if (!error_head.ends_with(kError)) Refuse(TextId::kCsvNoErrors, {heads[k]});
      const std::string name = error_head.substr(0, error_head.size() - kError.size());
      Channel channel = ChannelNamed(name, IdOf(name, static_cast<ChannelId>(k / 2)));
      const std::string rest = heads[k].size() > name.size() ? heads[k].substr(name.size()) : std::string();
      if (channel.unit.empty() && rest.starts_with(" (")) channel.unit = rest.substr(2, rest.size() - 3);
      channels_.push_back(channel);
    }
    measurement_.recording = Recording(channels_);
  }

  void TakeRow(const std::vector<std::string>& cells) {
    const auto time = ParseTime(cells.front());
    if (!time) Refuse(TextId::kCsvNoTime, {cells.front()});
    const std::size_t wanted = is_memory_ ? 4 : 1 + 2 * channels_.size();
    if (cells.size() != wanted) Refuse(TextId::kCsvCells, {std::to_string(cells.size()), std::to_string(wanted)});
    ChannelArrays row;
    double late_s = 0;
    if (is_memory_) {
      Add(row, static_cast<ChannelId>(std::strtoul(cells[1].c_str(), nullptr, 10)), *time + shift_, cells[2], cells[3]);
      measurement_.recording.AddRecords(row);
      return;
    }
    for (std::size_t k = 0; k < channels_.size(); ++k) {
      Add(row, channels_[k].id, *time + shift_, cells[1 + 2 * k], cells[2 + 2 * k]);
      late_s = std::max(late_s, LateIn(cells[2 + 2 * k]));
    }
    measurement_.recording.AddReport(row, late_s);
  }

  // Adds a value or an error to a row; nothing if both cells are empty.
  void Add(ChannelArrays& row, ChannelId id, Date time, const std::string& value_cell, const std::string& error_cell) {
    const auto code = CodeIn(error_cell);
    const auto value = ParseCell(value_cell);
    if (!value && !value_cell.empty()) Refuse(TextId::kCsvNoNumber, {value_cell});
    if (!value && !code) return;
    if (code && error_cell.size() > 11) measurement_.error_texts.emplace(*code, error_cell.substr(11));
    const bool doubtful = value && !error_cell.empty() && !code && !error_cell.starts_with("late ");
    row.ids.push_back(id);
    row.values.push_back(value.value_or(0));
    row.errors.push_back(code.value_or(S_OK));
    row.times.push_back(time);
    row.doubts.push_back(doubtful ? Doubt::kNoNumber : Doubt::kNone);
  }

  const std::string path_;
  std::ifstream file_;
  std::size_t number_ = 0;  // number of the line
  CsvMeasurement measurement_;
  bool has_head_ = false;
  bool is_memory_ = false;
  char separator_ = ',';
  std::vector<Channel> channels_;  // channels of the columns
  std::optional<int> first_offset_;
  double shift_ = 0;  // days
};

}  // namespace

std::string CsvMeasurement::Note(std::string_view key) const {
  const auto found = std::find_if(notes.rbegin(), notes.rend(), [&](const auto& note) { return note.first == key; });
  return found == notes.rend() ? std::string() : found->second;
}

CsvMeasurement ReadCsvMeasurement(const std::string& path) { return Reader(path).Read(); }

}  // namespace ulix::cli

#include "tools/ulix/csv.h"

#include <algorithm>

#include "base/date.h"
#include "base/numbers.h"
#include "tools/ulix/failures.h"

namespace ulix::cli {
namespace {

std::string Quoted(const std::string& cell) {
  if (cell.find_first_of(",\"\r\n") == std::string::npos) return cell;
  std::string quoted = "\"";
  for (const char c : cell) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

}  // namespace

std::string CsvLine(std::span<const std::string> cells) {
  std::string line;
  for (const std::string& cell : cells) line += (&cell == cells.data() ? "" : ",") + Quoted(cell);
  return line + "\n";
}

std::string CsvHeader(std::span<const Channel> channels) {
  std::vector<std::string> cells{"time"};
  for (const Channel& channel : channels) {
    cells.push_back(channel.unit.empty() ? channel.name : channel.name + " (" + channel.unit + ")");
    cells.push_back(channel.name + " error");
  }
  return CsvLine(cells);
}

std::string CsvRow(std::span<const Channel> channels, const ChannelArrays& report, const ErrorText& error_text) {
  std::vector<std::string> cells{report.times.empty() ? std::string() : IsoTime(report.times.front())};
  for (const Channel& channel : channels) {
    const auto found = std::find(report.ids.begin(), report.ids.end(), channel.id);
    const auto k = static_cast<std::size_t>(found - report.ids.begin());
    const bool held = found != report.ids.end();
    const bool failed = held && Failed(report.errors[k]);
    cells.push_back(held && !failed ? FormatShortest(report.values[k]) : std::string());
    cells.push_back(failed ? FailureLine(report.errors[k], error_text(report.errors[k])) : std::string());
  }
  return CsvLine(cells);
}

}  // namespace ulix::cli

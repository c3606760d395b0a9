#include "tools/ulix/csv.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>

#include "base/date.h"
#include "base/numbers.h"
#include "platform/files.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

std::string Quoted(const std::string& cell, char separator) {
  if (cell.find_first_of(std::string("\"\r\n#") + separator) == std::string::npos) return cell;
  std::string quoted = "\"";
  for (const char c : cell) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

}  // namespace

void AddCsvSeparator(CLI::App& verb, char& separator) {
  const auto take = [&separator](const std::string& text) {
    if (text == "comma" || text == ",")
      separator = ',';
    else if (text == "semicolon" || text == ";")
      separator = ';';
    else if (text == "tab" || text == "\t")
      separator = '\t';
    else
      throw UsageError("--csv-separator", "'" + text + "' is no separator; takes comma, semicolon or tab");
  };
  verb.add_option_function<std::string>("--csv-separator", take, "Between the values of a line; comma if not given")
      ->type_name("comma|semicolon|tab");
}

CsvStream::CsvStream(std::string path) : path_(std::move(path)) {
  if (path_ != kStandardOutput) file_.open(platform::PathOf(path_), std::ios::binary | std::ios::trunc);
}

void CsvStream::Write(const std::string& text) {
  std::ostream& out = path_ == kStandardOutput ? std::cout : file_;
  out << text << std::flush;
  if (out) return;
  throw OperationFailed(
      kWriteFault, path_ == kStandardOutput ? Shown(TextId::kUnableToPrint) : Shown(TextId::kUnableToWrite, {path_}));
}

std::string CsvLine(std::span<const std::string> cells, char separator) {
  std::string line;
  for (const std::string& cell : cells) {
    if (&cell != cells.data()) line += separator;
    line += Quoted(cell, separator);
  }
  return line + "\n";
}

std::string CsvHeader(std::span<const Channel> channels, char separator) {
  std::vector<std::string> cells{"time"};
  for (const Channel& channel : channels) {
    cells.push_back(channel.unit.empty() ? channel.name : channel.name + " (" + channel.unit + ")");
    cells.push_back(channel.name + " error");
  }
  return CsvLine(cells, separator);
}

std::string CsvRow(std::span<const Channel> channels, const ChannelArrays& report, const ErrorText& error_text,
                   char separator) {
  std::vector<std::string> cells{report.times.empty() ? std::string() : IsoTime(report.times.front())};
  for (const Channel& channel : channels) {
    const auto found = std::find(report.ids.begin(), report.ids.end(), channel.id);
    const auto k = static_cast<std::size_t>(found - report.ids.begin());
    const bool held = found != report.ids.end();
    const bool failed = held && Failed(report.errors[k]);
    cells.push_back(held && !failed ? FormatShortest(report.values[k]) : std::string());
    cells.push_back(failed ? FailureLine(report.errors[k], error_text(report.errors[k]))
                    : held ? DoubtText(report.doubts[k])
                           : std::string());
  }
  return CsvLine(cells, separator);
}

}  // namespace ulix::cli

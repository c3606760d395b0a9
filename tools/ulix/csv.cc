#include "tools/ulix/csv.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <iostream>

#include "base/date.h"
#include "base/numbers.h"
#include "platform/files.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
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
      throw UsageError("--csv-separator", Shown(TextId::kNotAllowed, {text, "comma, semicolon, tab"}));
  };
  verb.add_option_function<std::string>("--csv-separator", take, Shown(TextId::kHelpSeparator))
      ->type_name("comma|semicolon|tab");
}

CsvStream::CsvStream(std::string path) : path_(std::move(path)) {
  if (path_ != kStandardOutput) file_.open(platform::PathOf(path_), std::ios::binary | std::ios::trunc);
}

void CsvStream::Write(const std::string& text) {
  errno = 0;
  std::ostream& out = path_ == kStandardOutput ? std::cout : file_;
  out << text << std::flush;
  if (out) return;
  if (path_ != kStandardOutput) throw CannotWrite(path_);
  throw CannotPrint();
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

std::string RemarkText(Doubt doubt, double late_s) {
  std::string text = DoubtText(doubt);
  if (late_s > 0) text += (text.empty() ? "late " : "; late ") + FormatFixed(late_s, 1) + " s";
  return text;
}

std::string CsvRow(std::span<const Channel> channels, const ChannelArrays& report, const ErrorText& error_text,
                   char separator, double late_s) {
  std::vector<std::string> cells{report.times.empty() ? std::string() : IsoTime(report.times.front())};
  for (const Channel& channel : channels) {
    const auto found = std::find(report.ids.begin(), report.ids.end(), channel.id);
    const auto k = static_cast<std::size_t>(found - report.ids.begin());
    const bool held = found != report.ids.end();
    const bool failed = held && Failed(report.errors[k]);
    cells.push_back(held && !failed ? FormatShortest(report.values[k]) : std::string());
    cells.push_back(failed ? FailureLine(report.errors[k], error_text(report.errors[k]))
                    : held ? RemarkText(report.doubts[k], late_s)
                           : std::string());
  }
  return CsvLine(cells, separator);
}

}  // namespace ulix::cli

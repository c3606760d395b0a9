#include "tools/ulix/output.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

#include "base/numbers.h"
#include "base/text.h"
#include "links/local_number.h"
#include "platform/files.h"
#include "platform/terminal.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kMaxBytes = std::size_t{1} << 20U;  // The largest file that is read whole.

// The cause of the last failed system call for this file, such as ": no such folder"; empty if it is not known.
std::string FileFailure(const std::string& path, int system_error) {
  std::error_code ignored;
  const std::filesystem::path name = platform::PathOf(path);
  const std::filesystem::path folder = name.parent_path();
  if (std::filesystem::is_directory(name, ignored)) return ": " + Shown(TextId::kIsFolder);
  if (!folder.empty() && !std::filesystem::is_directory(folder, ignored)) return ": " + Shown(TextId::kNoSuchFolder);
  if (system_error == ENOENT) return ": " + Shown(TextId::kNoSuchFile);
  if (system_error == EACCES || system_error == EPERM) return ": " + Shown(TextId::kNoPermission);
  if (system_error == ENOSPC) return ": " + Shown(TextId::kDiskFull);
  return system_error == 0 ? std::string() : ": " + std::generic_category().message(system_error);
}

std::vector<std::size_t> ColumnWidths(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths(rows.front().size());
  for (const auto& row : rows) {
    for (std::size_t k = 0; k < row.size(); ++k) widths[k] = std::max(widths[k], DisplayWidth(row[k]));
  }
  return widths;
}

void AppendWrapped(std::vector<std::string>& lines, const std::vector<std::string>& row,
                   const std::vector<std::size_t>& widths, std::size_t width) {
  std::string start;
  for (std::size_t k = 0; k + 1 < row.size(); ++k) start += PaddedTo(row[k], widths[k] + kGap);
  const std::size_t indent = DisplayWidth(start);
  for (const std::string& piece : Wrapped(row.back(), width > indent + 20 ? width - indent : 20)) {
    lines.push_back(start + piece);
    lines.back().resize(lines.back().find_last_not_of(' ') + 1);
    start.assign(indent, ' ');
  }
}

}  // namespace

OperationFailed CannotWrite(const std::string& path) {
  const std::string cause = FileFailure(path, errno);
  return {kWriteFault, Shown(TextId::kUnableToWrite, {path}) + cause};
}

OperationFailed CannotRead(const std::string& path) {
  const std::string cause = FileFailure(path, errno);
  return {kFileNotFound, Shown(TextId::kUnableToRead, {path}) + cause};
}

OperationFailed CannotPrint() { return {kWriteFault, Shown(TextId::kUnableToPrint)}; }

std::string CauseOfUnreadable(const std::string& path) {
  errno = 0;
  const std::ifstream file(platform::PathOf(path), std::ios::binary);
  std::error_code ignored;
  const bool readable = file.is_open() && !std::filesystem::is_directory(platform::PathOf(path), ignored);
  return readable ? std::string() : FileFailure(path, errno);
}

std::string Shown(std::string_view ansi) { return Utf8FromAnsi(ansi); }

bool OnTerminal() {
  static const bool terminal = platform::OutputIsTerminal();
  return terminal;
}

char DecimalSeparatorOf(Language language) { return language == Language::kFrench ? ',' : '.'; }

std::string InLanguage(std::string number, Language language) {
  std::replace(number.begin(), number.end(), '.', DecimalSeparatorOf(language));
  return number;
}

std::string ShownTime(Date date, Language language) {
  std::string time = IsoTime(date);
  std::replace(time.begin(), time.end(), 'T', ' ');
  return InLanguage(std::move(time), language);
}

std::string ClockText(double seconds) {
  constexpr long kDay = 86400, kHour = 3600, kMinute = 60;
  const long whole = std::lround(std::max(seconds, 0.0));
  char text[40];
  std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole % kDay / kHour, whole % kHour / kMinute, whole % kMinute);
  return whole < kDay ? text : std::to_string(whole / kDay) + " d " + text;
}

std::string ShownNumber(const std::string& number) { return OnTerminal() ? ToLocalDecimal(number, '.') : number; }

std::size_t DisplayWidth(std::string_view utf8) {
  return static_cast<std::size_t>(
      std::count_if(utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

std::string PaddedTo(std::string text, std::size_t width) {
  const std::size_t shown = DisplayWidth(text);
  if (shown < width) text.append(width - shown, ' ');
  return text;
}

std::string Cut(const std::string& utf8, std::size_t width) {
  if (DisplayWidth(utf8) <= width) return utf8;
  if (width == 0) return {};
  std::size_t end = utf8.size();
  while (end > 0 && DisplayWidth(std::string_view(utf8).substr(0, end)) > width - 1) --end;
  while (end > 0 && (static_cast<unsigned char>(utf8[end]) & 0xC0U) == 0x80U) --end;
  return utf8.substr(0, end) + "…";
}

std::vector<std::string> Wrapped(const std::string& text, std::size_t width) {
  std::vector<std::string> lines(1);
  for (const std::string_view word : SplitWords(text, " ")) {
    std::string& line = lines.back();
    if (!line.empty() && DisplayWidth(line) + 1 + DisplayWidth(word) > width) {
      lines.emplace_back(word);
    } else {
      line += (line.empty() ? "" : " ") + std::string(word);
    }
  }
  return lines;
}

std::vector<std::string> Table::Lines(std::size_t width) const {
  const auto widths = ColumnWidths(rows_);
  std::vector<std::string> lines;
  for (const auto& row : rows_) AppendWrapped(lines, row, widths, width);
  return lines;
}

void Table::Print() const {
  const auto width = OnTerminal() ? static_cast<std::size_t>(platform::TerminalWidth()) : std::string::npos;
  const auto lines = Lines(width);
  if (OnTerminal()) std::cout << Bold(lines.front()) << '\n';
  for (std::size_t k = 1; k < lines.size(); ++k) std::cout << lines[k] << '\n';
}

std::string Bold(const std::string& text) { return "\x1b[1m" + text + "\x1b[0m"; }
std::string Red(const std::string& text) { return "\x1b[31m" + text + "\x1b[0m"; }

Json JsonNumber(float value) { return std::isfinite(value) ? Json::parse(FormatShortest(value)) : Json(nullptr); }

Json JsonError(HRESULT code) { return static_cast<std::uint32_t>(code); }

void PrintLine(const std::string& line) {
  std::cout << line << std::endl;
  if (!std::cout) throw CannotPrint();
}

void PrintJson(const Json& json) { PrintLine(json.dump(-1, ' ', false, Json::error_handler_t::replace)); }

void Tell(const std::string& text) {
  if (OnTerminal()) PrintLine(text);
}

void CheckWritable(const std::string& path) {
  errno = 0;
  std::error_code ignored;
  // A pipe is opened only once, because its reader sees the first close as the end.
  if (std::filesystem::is_fifo(path, ignored)) return;
  const bool there = std::filesystem::exists(path, ignored);
  const bool writable = there ? std::ofstream(path, std::ios::app).is_open() : platform::NewFile(path).good();
  if (!writable) throw CannotWrite(path);
}

void CheckReplaceable(const std::string& path) {
  CheckWritable(path);
  errno = 0;
  if (!platform::NewFile(path).good()) throw CannotWrite(path);
}

void WriteWholeFile(const std::string& path, std::string_view bytes) {
  errno = 0;
  platform::NewFile file(path);
  if (!file.Write(bytes) || !file.Commit()) throw CannotWrite(path);
}

std::string ReadWholeFile(const std::string& path) {
  errno = 0;
  std::ifstream file(platform::PathOf(path), std::ios::binary);
  std::string bytes(kMaxBytes + 1, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  if (!file.is_open() || file.bad() || bytes.size() > kMaxBytes) throw CannotRead(path);
  return bytes;
}

}  // namespace ulix::cli

#include "tools/ulix/wire_log.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

#include "base/date.h"
#include "core/version.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/output.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {

std::string VisibleBytes(std::string_view bytes) {
  std::string visible;
  for (const char c : bytes) {
    std::array<char, 7> hexadecimal{};
    if (c == '\n') {
      visible += "<LF>";
    } else if (c == '\r') {
      visible += "<CR>";
    } else if (c >= ' ' && c <= '~') {
      visible += c;
    } else {
      std::snprintf(hexadecimal.data(), hexadecimal.size(), "<0x%02X", static_cast<unsigned char>(c));
      visible += hexadecimal.data() + std::string(">");
    }
  }
  return visible;
}

namespace {

std::string LogLine(TraceDirection direction, Date began, const std::string& bytes) {
  return IsoTime(began).substr(11) + (direction == TraceDirection::kSent ? " > " : " < ") + bytes + "\n";
}

// The first byte of a readable text, and the length of its readable form: 4 for "<LF>", 6 for "<0x02>".
std::pair<char, std::size_t> FirstByte(std::string_view visible) {
  if (visible.starts_with("<LF>")) return {'\n', 4};
  if (visible.starts_with("<CR>")) return {'\r', 4};
  unsigned byte = 0;
  const bool hexadecimal = visible.size() >= 6 && visible.starts_with("<0x") && visible[5] == '>';
  const auto [end, error] =
      std::from_chars(visible.data() + (hexadecimal ? 3 : 0), visible.data() + (hexadecimal ? 5 : 0), byte, 16);
  if (hexadecimal && error == std::errc() && end == visible.data() + 5) return {static_cast<char>(byte), 6};
  return {visible.front(), 1};
}

std::string BytesOf(std::string_view visible) {
  std::string bytes;
  while (!visible.empty()) {
    const auto [byte, size] = FirstByte(visible);
    bytes += byte;
    visible.remove_prefix(size);
  }
  return bytes;
}

}  // namespace

void WireLog::Add(TraceDirection direction, std::string_view bytes) {
  const std::lock_guard lock(mutex_);
  if (direction != direction_) Flush();
  direction_ = direction;
  const Date now = SystemClock().LocalTime();
  for (const char c : bytes) {
    if (pending_.empty()) began_ = now;
    pending_ += c;
    if (c == '\n') Flush();
  }
  const bool one_of_many = direction == TraceDirection::kReceived && bytes.size() == 1;
  if (!one_of_many) Flush();
}

void WireLog::Flush() {
  if (!pending_.empty()) line_(direction_, began_, VisibleBytes(pending_));
  pending_.clear();
}

LinkTrace TraceTo(WireLog::Line line) {
  const auto log = std::make_shared<WireLog>(std::move(line));
  return [log](TraceDirection direction, std::string_view bytes) { log->Add(direction, bytes); };
}

void TraceLineToStandardError(std::string_view line) {
  while (line.ends_with('\n')) line.remove_suffix(1);
  std::cerr << IsoTime(SystemClock().LocalTime()).substr(11) + " = " + Shown(line) + "\n";
}

LinkTrace TraceToStandardError() {
  return TraceTo([](TraceDirection direction, Date began, const std::string& bytes) {
    std::cerr << LogLine(direction, began, bytes);
  });
}

LinkTrace TraceToFile(const std::string& path, const std::string& model) {
  const auto file = std::make_shared<std::ofstream>(platform::PathOf(path), std::ios::binary | std::ios::trunc);
  *file << "# ulix " << VersionText() << ", " << IsoTime(SystemClock().LocalTime()) << "\n# model: " << model
        << std::endl;
  if (!*file) throw CannotWrite(path);
  return TraceTo([file](TraceDirection direction, Date began, const std::string& bytes) {
    *file << LogLine(direction, began, bytes) << std::flush;
  });
}

std::vector<LoggedExchange> ReadWireLog(const std::string& argument, const std::string& text) {
  std::vector<LoggedExchange> log;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.ends_with('\r')) line.pop_back();
    if (line.empty() || line.starts_with('#')) continue;
    const std::size_t mark = line.find(' ');
    const bool sent = mark != std::string::npos && line.compare(mark, 3, " > ") == 0;
    const bool received = mark != std::string::npos && line.compare(mark, 3, " < ") == 0;
    if (!sent && !received) throw UsageError(argument, Shown(TextId::kNotAWireLog, {line}));
    if (sent) log.emplace_back();
    if (received && log.empty()) continue;
    (sent ? log.back().sent : log.back().received) += BytesOf(std::string_view(line).substr(mark + 3));
  }
  return log;
}

}  // namespace ulix::cli

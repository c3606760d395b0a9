#include "tools/ulix/wire_log.h"

#include <array>
#include <cstdio>
#include <iostream>
#include <memory>

#include "base/date.h"
#include "platform/clock.h"

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

LinkTrace TraceToStandardError() {
  return TraceTo([](TraceDirection direction, Date began, const std::string& bytes) {
    const char* arrow = direction == TraceDirection::kSent ? " > " : " < ";
    std::cerr << IsoTime(began).substr(11) + arrow + bytes + "\n";
  });
}

}  // namespace ulix::cli

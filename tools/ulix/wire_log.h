// What goes over a link, as lines for people.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "links/serial_link.h"

namespace ulix::cli {

// Printable characters as they are; line ends as <LF> and <CR>, every other byte as <0x02>.
std::string VisibleBytes(std::string_view bytes);

// Puts the pieces that a link moves together again: one line of text for each run of bytes in one direction, ended by a
// line feed on the wire or by the other side's turn. Any thread may call it.
class WireLog {
 public:
  using Line = std::function<void(TraceDirection direction, const std::string& bytes)>;
  // `line` gets the bytes made visible, on the thread that moved the last of them.
  explicit WireLog(Line line) : line_(std::move(line)) {}
  // Hands out what has no end yet.
  ~WireLog() { Flush(); }
  WireLog(const WireLog&) = delete;
  WireLog& operator=(const WireLog&) = delete;

  void Add(TraceDirection direction, std::string_view bytes);

 private:
  void Flush();  // with mutex_ held

  Line line_;
  std::mutex mutex_;
  TraceDirection direction_ = TraceDirection::kSent;  // guarded by mutex_, as pending_
  std::string pending_;
};

// A link's trace that hands each line to `line`.
LinkTrace TraceTo(WireLog::Line line);

// "10:11:12.345 > *IDN?<LF>" for each line, on standard error.
LinkTrace TraceToStandardError();

}  // namespace ulix::cli

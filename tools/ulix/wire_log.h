// What goes over a link, as lines for people.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "base/date.h"
#include "links/link_trace.h"
#include "simulators/replayed.h"

namespace ulix::cli {

// Printable characters as they are; line ends as <LF> and <CR>, every other byte as <0x02>.
std::string VisibleBytes(std::string_view bytes);

// One line of text for each message that a link moves, as soon as it has moved it. Bytes that are received one by one
// are put together again, up to a line feed or to whatever comes next. Any thread may call it.
class WireLog {
 public:
  // `began` is the local time when the first of the bytes had come or gone.
  using Line = std::function<void(TraceDirection direction, Date began, const std::string& bytes)>;
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
  Date began_ = 0;
};

// A link's trace that hands each line to `line`.
LinkTrace TraceTo(WireLog::Line line);

// "10:11:12.345 > *IDN?<LF>" for each line, on standard error.
LinkTrace TraceToStandardError();
// "10:11:12.345 = exchanges=12 ..." for what the library itself traces (base/trace.h), on standard error.
void TraceLineToStandardError(std::string_view line);
// The same into a file, behind lines of '#' that say what it is of. OperationFailed when the file cannot be made.
LinkTrace TraceToFile(const std::string& path, const std::string& model);

// What such a file says, of its sent and received lines: UsageError naming the line that says nothing of the kind.
std::vector<LoggedExchange> ReadWireLog(const std::string& argument, const std::string& text);

}  // namespace ulix::cli

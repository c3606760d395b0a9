// Shows and records the traffic of a link as readable lines.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/date.h"
#include "links/link_trace.h"
#include "platform/mutex.h"
#include "simulators/replayed.h"

namespace ulix::cli {

// Makes bytes readable: printable characters stay, line ends become <LF> and <CR>, any other byte becomes hexadecimal,
// such as <0x02>.
std::string VisibleBytes(std::string_view bytes);

// Makes one line of text for each message on a link, as soon as the message is complete. Bytes received one by one are
// joined up to a line feed or up to the next message. Any thread may call it.
class WireLog {
 public:
  // `began` is the local time at which the first byte was sent or received.
  using Line = std::function<void(TraceDirection direction, Date began, const std::string& bytes)>;
  // `line` gets the bytes in readable form, on the thread that moved the last byte.
  explicit WireLog(Line line) : line_(std::move(line)) {}
  // Passes on a message that is not complete yet.
  ~WireLog() { Flush(); }
  WireLog(const WireLog&) = delete;
  WireLog& operator=(const WireLog&) = delete;

  void Add(TraceDirection direction, std::string_view bytes);

 private:
  void Flush();  // call it with mutex_ held

  Line line_;
  platform::Mutex mutex_;
  TraceDirection direction_ = TraceDirection::kSent;  // guarded by mutex_, like pending_
  std::string pending_;
  Date began_ = 0;
};

// A link trace that passes each line to `line`.
LinkTrace TraceTo(WireLog::Line line);

// A link trace that writes each line to standard error, such as "10:11:12.345 > *IDN?<LF>".
LinkTrace TraceToStandardError();
// Writes a line of the library's own trace (base/trace.h) to standard error, such as "10:11:12.345 = exchanges=12 ...".
void TraceLineToStandardError(std::string_view line);
// A link trace that writes each line to a file, after header lines that begin with '#'. Throws OperationFailed when the
// file cannot be created.
LinkTrace TraceToFile(const std::string& path, const std::string& model);

// Reads the exchanges from the text of such a file. Throws a UsageError that names the first line it cannot read.
std::vector<LoggedExchange> ReadWireLog(const std::string& argument, const std::string& text);

}  // namespace ulix::cli

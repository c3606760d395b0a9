// The trace of the bytes that links send and receive.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ulix {

enum class TraceDirection { kSent, kReceived };
// Called for every piece of bytes after a link has sent or received it, on the thread of the transfer. A sent message
// is one piece; a reply may be several.
using LinkTrace = std::function<void(TraceDirection, std::string_view bytes)>;

// Stores the bytes that pass while the machine-wide mutex is held. They are traced after the mutex is free, because a
// trace may take any time. Not thread-safe.
class HeldTrace {
 public:
  // With an empty `trace`, Note stores nothing.
  explicit HeldTrace(LinkTrace trace) : trace_(std::move(trace)) {}
  // Stores a copy of the bytes. Ignores an empty `bytes`.
  void Note(TraceDirection direction, std::string_view bytes) {
    if (!trace_ || bytes.empty()) return;
    if (pieces_.empty() || pieces_.back().first != direction) pieces_.emplace_back(direction, "");
    pieces_.back().second += bytes;
  }
  // Returns the pieces since the last Take. Consecutive pieces of the same direction are joined into one.
  using Pieces = std::vector<std::pair<TraceDirection, std::string>>;
  Pieces Take() { return std::exchange(pieces_, {}); }
  // Calls the trace with each piece, in order. Call it without the mutex.
  void Tell(const Pieces& pieces) const {
    for (const auto& [direction, bytes] : pieces) trace_(direction, bytes);
  }

 private:
  const LinkTrace trace_;
  Pieces pieces_;
};

}  // namespace ulix

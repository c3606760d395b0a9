// The trace of the bytes that links send and receive.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ulix {

enum class TraceDirection { kSent, kReceived };
// Called for every piece that went over a link, after it went, on the thread that sent or received it. A sent message
// comes as one piece; a reply may come in several.
using LinkTrace = std::function<void(TraceDirection, std::string_view bytes)>;

// Keeps what passed while the machine-wide mutex was held, and traces it after the mutex is free: a trace may take any
// time. Not thread-safe.
class HeldTrace {
 public:
  // An empty trace keeps nothing.
  explicit HeldTrace(LinkTrace trace) : trace_(std::move(trace)) {}
  // Keeps a copy of the bytes. No bytes are no piece.
  void Note(TraceDirection direction, std::string_view bytes) {
    if (!trace_ || bytes.empty()) return;
    if (pieces_.empty() || pieces_.back().first != direction) pieces_.emplace_back(direction, "");
    pieces_.back().second += bytes;
  }
  // The pieces since the last Take, with neighbours of one direction joined.
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

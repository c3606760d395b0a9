// What links tell about the bytes that they move.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ulix {

enum class TraceDirection { kSent, kReceived };
// Told of every piece that went over a link, on the thread that moved it and as soon as it has. What is sent comes as a
// whole message.
using LinkTrace = std::function<void(TraceDirection, std::string_view bytes)>;

// What passed while a machine-wide lock was held, told when it is not: who shows it may take any time.
class HeldTrace {
 public:
  explicit HeldTrace(LinkTrace trace) : trace_(std::move(trace)) {}
  void Note(TraceDirection direction, std::string_view bytes) {
    if (!trace_ || bytes.empty()) return;
    if (pieces_.empty() || pieces_.back().first != direction) pieces_.emplace_back(direction, "");
    pieces_.back().second += bytes;
  }
  using Pieces = std::vector<std::pair<TraceDirection, std::string>>;
  Pieces Take() { return std::exchange(pieces_, {}); }
  void Tell(const Pieces& pieces) const {
    for (const auto& [direction, bytes] : pieces) trace_(direction, bytes);
  }

 private:
  const LinkTrace trace_;
  Pieces pieces_;
};

}  // namespace ulix

// Any bytes sent to a simulated Kelvo10, at once and in parts.
#include <algorithm>
#include <vector>

#include "fuzz/require.h"
#include "simulators/kelvo10.h"
#include "tests/support/manual_clock.h"

namespace ulix {
namespace {

constexpr std::size_t kLongestReply = 64;     // A configuration line has at most 49 characters.
constexpr std::size_t kLongestRequest = 256;  // Characters of a request that are kept.
constexpr std::size_t kMaxUnknown = 100;      // Unknown requests that are listed.

void Collect(std::vector<std::string>& said, const std::vector<SimulatedReply>& replies) {
  for (const SimulatedReply& reply : replies) {
    Require(reply.expected || reply.bytes.empty(), "only what is asked is answered");
    Require(reply.bytes.empty() || reply.bytes.ends_with('\n'), "a reply is a line");
    Require(reply.bytes.size() <= kLongestReply, "a reply is short");
    said.push_back(reply.bytes);
  }
}

void CheckRequests(std::string_view bytes) {
  ManualClock clock;
  Kelvo10Simulator at_once(clock);
  Kelvo10Simulator in_pieces(clock);
  std::vector<std::string> said_at_once;
  std::vector<std::string> said_in_pieces;
  Collect(said_at_once, at_once.Receive(bytes));
  // The bytes themselves give the lengths of the parts.
  for (std::string_view rest = bytes; !rest.empty();) {
    const std::size_t length = std::min<std::size_t>(rest.size(), static_cast<unsigned char>(rest[0]) % 16U + 1U);
    Collect(said_in_pieces, in_pieces.Receive(rest.substr(0, length)));
    rest.remove_prefix(length);
  }
  Require(said_at_once == said_in_pieces, "pieces do not matter");
  Require(said_at_once.size() == static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n')),
          "each line is one request");
  Require(at_once.unknown_requests() == in_pieces.unknown_requests(), "nor to what is not known");
  Require(at_once.unknown_requests().size() <= kMaxUnknown, "unknown requests are not kept without end");
  for (const std::string& request : at_once.unknown_requests()) {
    Require(request.size() <= kLongestRequest, "nor is one of them");
  }
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ulix::CheckRequests(ulix::TextOfInput(data, size));
  return 0;
}

#include "simulators/line_simulator.h"

#include <algorithm>
#include <utility>

namespace ulix {
namespace {

constexpr std::size_t kLongestRequest = 256;

}  // namespace

std::vector<SimulatedReply> LineSimulator::Receive(std::string_view bytes) {
  std::vector<SimulatedReply> replies;
  for (auto end = bytes.find(terminator_); end != std::string_view::npos; end = bytes.find(terminator_)) {
    Keep(bytes.substr(0, end));
    bytes.remove_prefix(end + 1);
    replies.push_back(Finish());
  }
  Keep(bytes);
  return replies;
}

void LineSimulator::Keep(std::string_view bytes) {
  const std::size_t room = kLongestRequest - pending_.size();
  too_long_ = too_long_ || bytes.size() > room;
  pending_ += bytes.substr(0, room);
}

SimulatedReply LineSimulator::Finish() {
  const std::string request = std::exchange(pending_, {});
  if (!std::exchange(too_long_, false)) return Answer(request);
  NoteUnknown(request);
  return {};
}

}  // namespace ulix

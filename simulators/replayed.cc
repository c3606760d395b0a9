#include "simulators/replayed.h"

#include <algorithm>

namespace ulix {

ReplayedInstrument::ReplayedInstrument(const std::vector<LoggedExchange>& log) {
  for (const LoggedExchange& exchange : log) {
    if (!exchange.sent.empty()) answers_[exchange.sent].push_back(exchange.received);
  }
}

HRESULT ReplayedInstrument::Set(std::string_view, std::string_view) { return E_INVALIDARG; }

// Finds the longest logged request that the pending bytes begin with. When the pending bytes are themselves a whole
// request, it is taken at once, although more bytes could make it a longer one.
ReplayedInstrument::Match ReplayedInstrument::MatchPending(std::string& request) const {
  Match match = Match::kNone;
  for (const auto& [sent, answers] : answers_) {
    if (pending_.starts_with(sent)) {
      if (match != Match::kWhole || sent.size() > request.size()) request = sent;
      match = Match::kWhole;
    } else if (match == Match::kNone && sent.starts_with(pending_)) {
      match = Match::kMayCome;
    }
  }
  return match;
}

// Takes the pending bytes up to the end of a line, or all of them when no line ends.
std::string ReplayedInstrument::TakeUnknown() {
  const std::size_t end = pending_.find_first_of("\r\n");
  const std::size_t next = end == std::string::npos ? end : pending_.find_first_not_of("\r\n", end);
  std::string request = pending_.substr(0, next);
  pending_.erase(0, request.size());
  return request;
}

std::vector<SimulatedReply> ReplayedInstrument::Receive(std::string_view bytes) {
  pending_ += bytes;
  std::vector<SimulatedReply> replies;
  while (!pending_.empty()) {
    std::string request;
    const Match match = MatchPending(request);
    if (match == Match::kMayCome) break;
    if (match == Match::kNone) {
      NoteUnknown(TakeUnknown());
      continue;
    }
    pending_.erase(0, request.size());
    auto& answers = answers_[request];
    if (answers.empty()) {
      NoteUnknown(request);
      continue;
    }
    replies.push_back({answers.front(), !answers.front().empty()});
    answers.pop_front();
  }
  return replies;
}

}  // namespace ulix

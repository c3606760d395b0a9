#include "sessions/outstanding_replies.h"

#include <algorithm>

namespace ulix {

void OutstandingReplies::OnSent(ReplyKind kind) {
  if (runs_.empty() || runs_.back().kind != kind) runs_.push_back({kind, 0});
  ++runs_.back().count;
}

void OutstandingReplies::OnReceived(ReplyKind kind) {
  const auto first = std::find_if(runs_.begin(), runs_.end(), [&](const Run& run) { return run.kind == kind; });
  if (first == runs_.end()) return;
  runs_.erase(runs_.begin(), first);
  if (kind != ReplyKind::kAmbiguous && --runs_.front().count == 0) runs_.erase(runs_.begin());
}

bool OutstandingReplies::Expects(ReplyKind kind) const {
  return std::any_of(runs_.begin(), runs_.end(), [&](const Run& run) { return run.kind == kind; });
}

}  // namespace ulix

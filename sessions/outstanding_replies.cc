#include "sessions/outstanding_replies.h"

#include <algorithm>

namespace ulix {

void OutstandingReplies::OnSent(ReplyKind kind) {
  if (runs_.empty() || runs_.back().kind != kind) {
    if (runs_.size() == kRoom) MakeRoom();
    runs_.push_back({kind, 0});
  }
  ++runs_.back().count;
}

// Merges the first run with the next one of its kind. If there is none, the run behind it becomes ambiguous, so that
// only a reply to a later query settles it.
void OutstandingReplies::MakeRoom() {
  const Run first = runs_.front();
  runs_.erase(runs_.begin());
  const auto next = std::find_if(runs_.begin(), runs_.end(), [&](const Run& run) { return run.kind == first.kind; });
  if (next != runs_.end()) next->count += first.count;
  if (next == runs_.end()) runs_.front().kind = ReplyKind::kAmbiguous;
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

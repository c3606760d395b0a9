#include "drivers/reply_ledger.h"

#include <algorithm>

namespace ulix {

void ReplyLedger::Asked(ReplyKind kind) {
  if (runs_.empty() || runs_.back().kind != kind) runs_.push_back({kind, 0});
  ++runs_.back().count;
}

void ReplyLedger::Came(ReplyKind kind) {
  const auto first = std::find_if(runs_.begin(), runs_.end(), [&](const Run& run) { return run.kind == kind; });
  if (first == runs_.end()) return;
  runs_.erase(runs_.begin(), first);
  if (kind == ReplyKind::kLandmark && --runs_.front().count == 0) runs_.erase(runs_.begin());
}

bool ReplyLedger::Owes(ReplyKind kind) const {
  return std::any_of(runs_.begin(), runs_.end(), [&](const Run& run) { return run.kind == kind; });
}

}  // namespace ulix

// How messages are framed on a link: one small strategy for each way.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "links/link_outcome.h"
#include "platform/clock.h"
#include "sessions/limits.h"
#include "sessions/outstanding_replies.h"

namespace ulix {

// How a reply is read.
struct ReplyPlan {
  int size;                      // the terminator's place included
  int attempts = 1;              // at reading, until a reply is whole that is not empty; the query is sent once
  bool prefix_suffices = false;  // a longer line is expected, and its start is all that matters
  std::uint32_t read_ms = 0;     // of an attempt; 0: the link's timeout
  bool chunked = false;          // of a line that may have no end: others have the line's turn in between
};

struct Reply {
  LinkOutcome outcome = LinkOutcome::kComplete;  // a reply is there with kComplete and kTooLong
  std::string text;                              // whole, zeros included, without its terminator

  bool there() const { return IsComplete(outcome) || outcome == LinkOutcome::kTooLong; }
};

// A query whose reply can be told from what may still come.
struct SyncCandidate {
  std::string query;
  ReplyKind kind;
};

// Used by its session alone, with the exchange lock held.
class Framer {
 public:
  virtual ~Framer() = default;

  // The link was opened anew.
  virtual void Reset() {}
  virtual LinkOutcome Send(std::string_view message) = 0;
  // The next message, from the part of it that came before. What is longer than the plan's size is cut.
  virtual Reply Receive(const ReplyPlan& plan) = 0;
  // The next message of a line that is out of sync, whatever its length.
  virtual Reply ReceiveAny(const ReplyPlan& plan) = 0;
  // Throws away what has come.
  virtual LinkOutcome Discard() = 0;
  // Before a query on a link that is in sync.
  virtual void Prepare() { Discard(); }
  // Throws away what comes within the time, without a hold on the link while nothing comes; whether anything did.
  virtual bool DiscardWithin(Milliseconds time) = 0;
  // Whether the end of the last reply was not read.
  virtual bool cut() const { return false; }
  // Reads that end; false when it does not come.
  virtual bool SkipRest() { return true; }
  // Whether part of a message came that was not given as a reply.
  virtual bool HasPart() const { return false; }

  // Whether every frame says which query it answers, so that the link is never out of sync.
  virtual bool NamesItsQuery() const { return false; }
  // Whether frames are told apart by silence: a link that is out of sync must first be quiet.
  virtual bool NeedsSilence() const { return false; }
  // Where frames say the form of what they answer: the kind of reply that a query has, and of a reply that came.
  virtual bool HasForms() const { return false; }
  virtual std::optional<ReplyKind> KindOfQuery(std::string_view) const { return std::nullopt; }
  virtual std::optional<ReplyKind> KindOfReply(std::string_view) const { return std::nullopt; }
  // Whether a reply of the kind `came` refuses a query for the other kind.
  virtual bool Refuses(ReplyKind /*came*/, ReplyKind /*kind*/) const { return false; }
  // Queries to get in sync by, where the frames themselves tell.
  virtual std::vector<SyncCandidate> SyncQueries() const { return {}; }
};

}  // namespace ulix

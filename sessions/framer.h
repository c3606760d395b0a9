// How messages are framed on a link: one class for each way. A framer turns messages into bytes and bytes into replies;
// whose reply it is, and what to do about one that did not come, is the session's.
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
  int size;                      // bytes at most, the terminator included; a longer reply is cut there
  int attempts = 1;              // at reading until a reply is whole and not empty; the query is sent once
  bool prefix_suffices = false;  // the reply may be longer than `size`: its start is enough, and its rest is no stray
  std::uint32_t read_ms = 0;     // timeout of one attempt, in milliseconds; 0: the link's
  bool chunked = false;          // read in pieces: between them other programs have their turn at the port
};

struct Reply {
  LinkOutcome outcome = LinkOutcome::kComplete;
  std::string text;  // all bytes of the reply, zeros among them, without its terminator; empty where none is there

  // Whether there is a reply: a whole one, or one that was cut at the plan's size.

  bool there() const { return IsComplete(outcome) || outcome == LinkOutcome::kTooLong; }
};

// A query whose reply can be told from the replies that are outstanding.
struct SyncCandidate {
  std::string query;
  ReplyKind kind;
};

// A session has one framer and calls it with the exchange lock held, so that one thread at a time uses it. The link
// outlives it.
class Framer {
 public:
  virtual ~Framer() = default;

  // The link was opened: what was kept of the line before is forgotten.
  virtual void Reset() {}
  virtual LinkOutcome Send(std::string_view message) = 0;
  // The next message; it goes on from the part that an earlier call received. A longer one than the plan's size is cut.
  virtual Reply Receive(const ReplyPlan& plan) = 0;
  // The next message of a line that is out of sync, whatever its length.
  virtual Reply ReceiveAny(const ReplyPlan& plan) = 0;
  // Throws away what was received and not read.
  virtual LinkOutcome Discard() = 0;
  // Called before a query on a link that is in sync: what was received unasked is thrown away, at once or with the
  // query.
  virtual void Prepare() { Discard(); }
  // Throws away what comes within the time; whether anything came. While nothing comes, no machine-wide lock is held.
  virtual bool DiscardWithin(Milliseconds time) = 0;
  // Whether the last reply was cut: its end was not read.
  virtual bool cut() const { return false; }
  // Reads the end of a reply that was cut, and throws it away; false when the end does not come.
  virtual bool SkipRest() { return true; }
  // Whether the start of a message was received that stopped midway.
  virtual bool HasPart() const { return false; }

  // Whether every reply says which query it answers. Such a link is never out of sync.
  virtual bool NamesItsQuery() const { return false; }
  // Whether a pause ends a frame: a link that is out of sync must first be quiet for a read timeout.
  virtual bool NeedsSilence() const { return false; }
  // Whether replies show the form of their query (function, length). Such a framer knows the kind of reply that a query
  // gets, and the kind of a reply that came.
  virtual bool HasForms() const { return false; }
  virtual std::optional<ReplyKind> KindOfQuery(std::string_view) const { return std::nullopt; }
  virtual std::optional<ReplyKind> KindOfReply(std::string_view) const { return std::nullopt; }
  // Whether a reply of the kind `came` is the refusal of a query that asks for `kind`.
  virtual bool Refuses(ReplyKind /*came*/, ReplyKind /*kind*/) const { return false; }
  // Sync queries of a framer with forms, in the order in which they are tried.
  virtual std::vector<SyncCandidate> SyncQueries() const { return {}; }

  // The message that a person typed; none for a text that is no message. Texts are messages as they are.
  virtual std::optional<std::string> MessageOf(std::string_view typed) const { return std::string(typed); }
  // A reply as it is shown to a person. Texts are shown as they are, up to their first zero byte.
  virtual std::string TextOf(std::string_view reply) const { return std::string(reply.substr(0, reply.find('\0'))); }
};

}  // namespace ulix

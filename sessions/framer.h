// Framers: how messages are framed on a link, one class for each protocol. A framer turns messages into bytes and bytes
// into replies. The session decides which query a reply answers, and what to do when none comes.
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
  int size;                      // longest reply in bytes, including the terminator; a longer one is cut
  int attempts = 1;              // how often to read until a reply is whole and not empty; the query is sent once
  bool prefix_suffices = false;  // only the start of the reply matters; its rest is ignored
  std::uint32_t read_ms = 0;     // timeout of one read, in milliseconds; 0: that of the link
  bool chunked = false;          // read in pieces; between them other programs can use their ports
};

struct Reply {
  LinkOutcome outcome = LinkOutcome::kComplete;
  std::string text;  // the bytes of the reply, including zeros, without the terminator; empty without a reply

  // Whether a reply came: a whole one, or one that was cut at the plan's size.
  bool there() const { return IsComplete(outcome) || outcome == LinkOutcome::kTooLong; }
};

// A query that may bring a line in sync again, and the kind of its reply.
struct SyncCandidate {
  std::string query;
  ReplyKind kind;
};

// Threads: a session owns its framer and calls it under the exchange lock, so one thread at a time uses it. The link
// must outlive the framer. Errors: outcomes of the link; the session turns them into codes.
class Framer {
 public:
  virtual ~Framer() = default;

  // Called after the link was opened. Forgets everything about earlier replies.
  virtual void Reset() {}
  // Sends one message.
  virtual LinkOutcome Send(std::string_view message) = 0;
  // Receives the next reply. A reply longer than the plan's size is cut.
  virtual Reply Receive(const ReplyPlan& plan) = 0;
  // Receives the next reply on a line that is out of sync, whatever its length.
  virtual Reply ReceiveAny(const ReplyPlan& plan) = 0;
  // Discards bytes that were received and not read.
  virtual LinkOutcome Discard() = 0;
  // Called before a query on a link that is in sync. Discards bytes that came unasked, at once or when the query is
  // sent.
  virtual void Prepare() { Discard(); }
  // Discards bytes that come within `time`. Returns whether any came; it may return at the first ones. The machine-wide
  // mutex is not held while nothing comes.
  virtual bool DiscardWithin(Milliseconds time) = 0;
  // Whether the last reply was cut, so that its rest is not read yet.
  virtual bool cut() const { return false; }
  // Reads the rest of a reply that was cut, and discards it. False when the rest does not come.
  virtual bool SkipRest() { return true; }
  // Whether the last reply began but its end did not come in time.
  virtual bool HasPart() const { return false; }

  // Whether each reply carries the number of its query. Such a link is never out of sync.
  virtual bool NamesItsQuery() const { return false; }
  // Whether a pause ends a frame. Before a query, a link that is out of sync must then be silent for one read timeout.
  virtual bool NeedsSilence() const { return false; }
  // Whether a reply shows the form of its query (function, length). Then KindOfQuery gives the kind of reply that a
  // query expects, and KindOfReply gives the kind of a received reply.
  virtual bool HasForms() const { return false; }
  virtual std::optional<ReplyKind> KindOfQuery(std::string_view) const { return std::nullopt; }
  virtual std::optional<ReplyKind> KindOfReply(std::string_view) const { return std::nullopt; }
  // Whether a reply of kind `came` refuses a query that expects a reply of kind `kind`.
  virtual bool Refuses(ReplyKind /*came*/, ReplyKind /*kind*/) const { return false; }
  // The sync queries of a framer with forms, in the order in which they are tried.
  virtual std::vector<SyncCandidate> SyncQueries() const { return {}; }

  // The message that a person typed. None for a text that is not a message. By default every text is a message.
  virtual std::optional<std::string> MessageOf(std::string_view typed) const { return std::string(typed); }
  // A reply as it is shown to a person. By default the text up to its first zero byte.
  virtual std::string TextOf(std::string_view reply) const { return std::string(reply.substr(0, reply.find('\0'))); }
};

}  // namespace ulix

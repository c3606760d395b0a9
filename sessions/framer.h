// Framers: how messages are framed on a link, one class for each way. A framer turns messages into bytes and bytes into
// replies. The session finds out which query a reply answers, and what to do when none comes.
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
  int attempts = 1;              // reads, until a reply is whole and not empty; the query is sent once
  bool prefix_suffices = false;  // only the start of the reply matters: the part beyond `size` is no stray reply
  std::uint32_t read_ms = 0;     // timeout of one read, in milliseconds; 0: the link's
  bool chunked = false;          // read in pieces, so that other programs have their turn at the port between them
};

struct Reply {
  LinkOutcome outcome = LinkOutcome::kComplete;
  std::string text;  // all bytes of the reply, also zeros, without its terminator; empty when there is no reply

  // Whether there is a reply: a whole one, or one that was cut at the plan's size.
  bool there() const { return IsComplete(outcome) || outcome == LinkOutcome::kTooLong; }
};

// A query whose reply can be told from the replies that are outstanding.
struct SyncCandidate {
  std::string query;
  ReplyKind kind;
};

// A session owns its framer and calls it while it holds the exchange lock, so one thread at a time uses it. The link
// outlives the framer.
class Framer {
 public:
  virtual ~Framer() = default;

  // Called after the link was opened. Forgets what is known of replies that were received before.
  virtual void Reset() {}
  // Sends one message.
  virtual LinkOutcome Send(std::string_view message) = 0;
  // Receives the next reply. A reply longer than the plan's size is cut.
  virtual Reply Receive(const ReplyPlan& plan) = 0;
  // Receives the next reply of a line that is out of sync, whatever its length.
  virtual Reply ReceiveAny(const ReplyPlan& plan) = 0;
  // Throws away what was received and not read.
  virtual LinkOutcome Discard() = 0;
  // Called before a query on a link that is in sync. What was received unasked is thrown away, at once or when the
  // query is sent.
  virtual void Prepare() { Discard(); }
  // Throws away what comes within the time, and returns whether anything came. The machine-wide mutex is not held while
  // nothing comes.
  virtual bool DiscardWithin(Milliseconds time) = 0;
  // Whether the last reply was cut, so that its end is still to be read.
  virtual bool cut() const { return false; }
  // Reads the end of a reply that was cut and throws it away; false when the end does not come.
  virtual bool SkipRest() { return true; }
  // Whether the last reply began, and its end did not come in time.
  virtual bool HasPart() const { return false; }

  // Whether each reply has the number of its query. Such a link is never out of sync.
  virtual bool NamesItsQuery() const { return false; }
  // Whether a pause ends a frame. A link that is out of sync must then be quiet for a read timeout before a query.
  virtual bool NeedsSilence() const { return false; }
  // Whether replies show the form of their query (function, length). Then KindOfQuery gives the kind of reply that a
  // query expects, and KindOfReply the kind of a reply that came.
  virtual bool HasForms() const { return false; }
  virtual std::optional<ReplyKind> KindOfQuery(std::string_view) const { return std::nullopt; }
  virtual std::optional<ReplyKind> KindOfReply(std::string_view) const { return std::nullopt; }
  // Whether a reply of the kind `came` refuses a query that expects a reply of the kind `kind`.
  virtual bool Refuses(ReplyKind /*came*/, ReplyKind /*kind*/) const { return false; }
  // The sync queries of a framer with forms, in the order in which they are tried.
  virtual std::vector<SyncCandidate> SyncQueries() const { return {}; }

  // The message that a person typed; none for a text that is no message. Texts are messages as they are.
  virtual std::optional<std::string> MessageOf(std::string_view typed) const { return std::string(typed); }
  // A reply as it is shown to a person. Texts are shown as they are, up to their first zero byte.
  virtual std::string TextOf(std::string_view reply) const { return std::string(reply.substr(0, reply.find('\0'))); }
};

}  // namespace ulix

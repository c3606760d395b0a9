// Outstanding replies: those to queries that were sent and whose reply was not received. They may still come.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ulix {

// The kinds of replies that a session can tell apart. Ambiguous replies look alike: the session cannot see which query
// they answer. A sync reply is recognised by its text. Where a reply shows the form of its query, each form is a kind
// of its own, from kFirstForm up.
enum class ReplyKind : std::uint32_t { kAmbiguous = 0, kSync = 1, kFirstForm = 2 };

// An instrument answers in order. So when a reply comes, no reply to an earlier query can follow. If several queries of
// its kind are outstanding, the reply counts for the first of them. Not thread-safe: used under the exchange lock.
class OutstandingReplies {
 public:
  OutstandingReplies() { runs_.reserve(kRoom); }

  // Records a sent query that expects a reply of this kind. Allocates no memory, so that it cannot fail.
  void OnSent(ReplyKind kind);
  // Records a received reply of this kind. It settles the first query of this kind and all queries before it. An
  // ambiguous reply may be noise or half of a reply, so it settles only the queries before the first ambiguous one, and
  // not that one.
  void OnReceived(ReplyKind kind);
  void Clear() { runs_.clear(); }

  bool empty() const { return runs_.empty(); }
  bool Expects(ReplyKind kind) const;
  // The kind of the first outstanding reply. Must not be called when empty.
  ReplyKind front() const { return runs_.front().kind; }
  // Whether the list is too long for another query. This happens after many unanswered queries of alternating kinds. A
  // handshake is sent all the same; MakeRoom then shortens the list.
  bool full() const { return runs_.size() >= kMaxRuns; }

 private:
  void MakeRoom();

  static constexpr std::size_t kMaxRuns = 64;
  static constexpr std::size_t kRoom = 2 * kMaxRuns;
  struct Run {
    ReplyKind kind;
    std::size_t count;
  };
  std::vector<Run> runs_;  // neighbouring runs differ in kind
};

}  // namespace ulix

// The replies that may still come: those to queries that were sent and whose reply was not seen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ulix {

// The kinds into which a session can sort replies. Ambiguous replies look alike, so the session cannot see which query
// one answers. A sync reply is recognised by its text. Where frames show the form of their query, each form is a kind
// of its own, from kFirstForm up.
enum class ReplyKind : std::uint32_t { kAmbiguous = 0, kSync = 1, kFirstForm = 2 };

// An instrument answers in order, so a reply shows that no reply to an earlier query will come. If several queries of
// its kind are outstanding, the reply counts for the first of them.
class OutstandingReplies {
 public:
  OutstandingReplies() { runs_.reserve(kRoom); }

  // A query that expects a reply of this kind was sent. Allocates nothing, so that none is forgotten.
  void OnSent(ReplyKind kind);
  // A reply of this kind came. It settles all that was sent before the first query of this kind, and that query too. An
  // ambiguous reply may be noise or half of a reply, so it never settles an ambiguous query.
  void OnReceived(ReplyKind kind);
  void Clear() { runs_.clear(); }

  bool empty() const { return runs_.empty(); }
  bool Expects(ReplyKind kind) const;
  // The kind of the first outstanding reply. Not to be called when empty.
  ReplyKind front() const { return runs_.front().kind; }
  // Whether there are too many for another query, after many of alternating kinds on a mute line. A handshake goes on.
  bool full() const { return runs_.size() >= kMaxRuns; }

 private:
  void MakeRoom();

  static constexpr std::size_t kMaxRuns = 64;
  static constexpr std::size_t kRoom = 2 * kMaxRuns;
  struct Run {
    ReplyKind kind;
    std::size_t count;
  };
  std::vector<Run> runs_;  // neighbours differ in kind, so there are two of any kind only with another between
};

}  // namespace ulix

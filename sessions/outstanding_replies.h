// The replies that may still come: those to queries that were sent and whose reply was not seen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ulix {

// How a reply can be told from others. Ambiguous replies look alike: which of several queries one answers cannot be
// said. A sync reply is recognised by its text. Where frames show the form of their query, each form is a kind of its
// own, from kFirstForm up.
enum class ReplyKind : std::uint32_t { kAmbiguous = 0, kSync = 1, kFirstForm = 2 };

// Instruments answer in order. So a reply shows that no reply to an earlier query is coming any more. Which of several
// queries of its kind it answers is never guessed: the first of them counts.
class OutstandingReplies {
 public:
  void OnSent(ReplyKind kind);
  // A reply of that kind came: what was sent before the first query of that kind is settled, and that query too. An
  // ambiguous reply may be noise or half of a reply, so it never settles an ambiguous query.
  void OnReceived(ReplyKind kind);
  void Clear() { runs_.clear(); }

  bool empty() const { return runs_.empty(); }
  bool Expects(ReplyKind kind) const;
  // The kind that was asked first; of a list that is not empty.
  ReplyKind front() const { return runs_.front().kind; }
  // Whether there are too many runs to keep: many queries of several kinds by turns on a mute line.
  bool full() const { return runs_.size() >= kMaxRuns; }

 private:
  static constexpr std::size_t kMaxRuns = 64;
  struct Run {
    ReplyKind kind;
    std::size_t count;
  };
  std::vector<Run> runs_;  // neighbours differ in kind, so there are two of any kind only with another between
};

}  // namespace ulix

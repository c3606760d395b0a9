// The replies that may still come: the queries that were sent and not seen answered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ulix {

// How a reply can be told from others. Ambiguous ones look alike, so that one cannot be laid to one query of several;
// a sync reply is recognised by what it says. Where frames say what they answer, each form of reply is a kind of its
// own, above kFirstForm.
enum class ReplyKind : std::uint32_t { kAmbiguous = 0, kSync = 1, kFirstForm = 2 };

// Instruments answer in order: a reply shows that nothing is coming any more that was asked before its query. Which of
// several like queries it answers is never guessed; the first that it can belong to counts.
class OutstandingReplies {
 public:
  void OnSent(ReplyKind kind);
  // A reply of that kind came. An ambiguous one may also be noise or half of a reply, so it settles what was asked
  // before the first ambiguous query and never an ambiguous query.
  void OnReceived(ReplyKind kind);
  void Clear() { runs_.clear(); }

  bool empty() const { return runs_.empty(); }
  bool Expects(ReplyKind kind) const;
  // The kind that was asked first; of a list that is not empty.
  ReplyKind front() const { return runs_.front().kind; }
  // Whether it grew beyond any use, which takes many queries of several kinds by turns on a silent line.
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

// What a line still owes: the queries that were sent and not seen answered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/result.h"

namespace ulix {

// How a reply can be told from others. Plain ones look alike, so that one cannot be laid to one query of several; a
// landmark is known by its face.
enum class ReplyKind { kPlain, kLandmark };

// Of the read timeouts of chatter after which a line that does not bring what is waited for is left for the next
// exchange.
inline constexpr std::uint32_t kMaxSilences = 5;
// So many exchanges, too.
inline constexpr int kMaxProbes = 6;

// Instruments answer in order: a reply shows that nothing is coming any more that was asked before its query. Which of
// several like queries it answers is never guessed; the first that it can belong to counts.
class ReplyLedger {
 public:
  void Asked(ReplyKind kind);
  // A line of that kind came. A plain one may also be noise or half of a reply, so it settles what was asked before the
  // first plain query and never a plain query.
  void Came(ReplyKind kind);
  void Clear() { runs_.clear(); }

  bool empty() const { return runs_.empty(); }
  bool Owes(ReplyKind kind) const;
  // The kind that was asked first; of a ledger that is not empty.
  ReplyKind front() const { return runs_.front().kind; }
  // Until nothing is owed: what was asked first is flushed by a reply of the other kind, since that was asked later.
  // `probe` asks for one of a kind and waits for it, and says both here.
  template <typename Probe>
  HRESULT Settle(Probe&& probe, HRESULT never) {
    for (int probes = 0; !empty(); ++probes) {
      if (probes == kMaxProbes) return never;
      const ReplyKind other = front() == ReplyKind::kPlain ? ReplyKind::kLandmark : ReplyKind::kPlain;
      if (const HRESULT result = probe(other); Failed(result)) return result;
    }
    return S_OK;
  }
  // Whether it grew beyond any use, which takes many queries of both kinds by turns on a silent line.
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

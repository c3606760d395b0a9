// An instrument that gives the answers recorded in a wire log.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "simulators/simulator.h"

namespace ulix {

// A request and the bytes received until the next request; no bytes for a command without an answer.
struct LoggedExchange {
  std::string sent;
  std::string received;
};

// The n-th time that a request comes, it gets its n-th answer in the log. A request that is not in the log, or that
// comes more often than in the log, is recorded as unknown and gets no answer.
class ReplayedInstrument final : public Simulator {
 public:
  explicit ReplayedInstrument(const std::vector<LoggedExchange>& log);

  std::vector<SimulatedReply> Receive(std::string_view bytes) override;
  std::string Refusal() const override { return {}; }
  HRESULT Set(std::string_view key, std::string_view value) override;
  std::vector<std::pair<std::string, std::string>> Properties() const override { return {}; }

 private:
  enum class Match { kWhole, kMayCome, kNone };
  Match MatchPending(std::string& request) const;
  std::string TakeUnknown();

  std::map<std::string, std::deque<std::string>> answers_;  // the answers to each request, in the order of the log
  std::string pending_;
};

}  // namespace ulix

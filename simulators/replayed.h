// An instrument that answers as a wire log says.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "simulators/simulator.h"

namespace ulix {

// A request and what came back until the next one; what came is empty for an order that is not answered.
struct LoggedExchange {
  std::string sent;
  std::string received;
};

// The n-th time that a request comes it gets the n-th answer of the log. Every other request, and one that comes more
// often than in the log, is noted as unknown and not answered.
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

  std::map<std::string, std::deque<std::string>> answers_;  // by request; in the log's order
  std::string pending_;
};

}  // namespace ulix

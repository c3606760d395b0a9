// The base class of simulated instruments whose requests are lines.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "simulators/simulator.h"

namespace ulix {

class LineSimulator : public Simulator {
 public:
  std::vector<SimulatedReply> Receive(std::string_view bytes) final;

 protected:
  explicit LineSimulator(char terminator) : terminator_(terminator) {}
  // Executes one request, given without its terminator. The reply includes its terminator.
  virtual SimulatedReply Answer(std::string_view request) = 0;

 private:
  void Keep(std::string_view bytes);
  SimulatedReply Finish();

  char terminator_;
  std::string pending_;    // The incomplete request.
  bool too_long_ = false;  // The request is longer than the instrument's buffer: it is dropped up to its terminator.
};

}  // namespace ulix

// What simulated instruments have in common whose requests are lines.
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
  // What the instrument does with one request, given without its terminator. The reply carries its own.
  virtual SimulatedReply Answer(std::string_view request) = 0;

 private:
  void Keep(std::string_view bytes);
  SimulatedReply Finish();

  char terminator_;
  std::string pending_;    // the request so far
  bool too_long_ = false;  // the request outgrew the instrument's buffer: it is given up up to its terminator
};

}  // namespace ulix

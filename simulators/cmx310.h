// A simulated CMX310.
#pragma once

#include "simulators/range_calibrator.h"

namespace ulix {

class Cmx310Simulator final : public RangeCalibratorSimulator {
 public:
  explicit Cmx310Simulator(Clock& clock);
};

}  // namespace ulix

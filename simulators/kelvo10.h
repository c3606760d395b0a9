// A simulated Kelvo10.
#pragma once

#include "simulators/range_calibrator.h"

namespace ulix {

class Kelvo10Simulator final : public RangeCalibratorSimulator {
 public:
  explicit Kelvo10Simulator(Clock& clock);
};

}  // namespace ulix

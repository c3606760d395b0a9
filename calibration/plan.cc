#include "calibration/plan.h"

#include <algorithm>

namespace ulix::calibration {

const PlannedInstrument* Plan::FindInstrument(const std::string& name) const {
  const auto found = std::find_if(instruments.begin(), instruments.end(),
                                  [&](const PlannedInstrument& instrument) { return instrument.name == name; });
  return found == instruments.end() ? nullptr : &*found;
}

bool Plan::simulated() const {
  return std::all_of(instruments.begin(), instruments.end(),
                     [](const PlannedInstrument& instrument) { return instrument.simulated(); });
}

}  // namespace ulix::calibration

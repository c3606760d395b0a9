// What a simulated instrument has around it when it does not stand alone: a world that it shares with others.
#pragma once

#include <optional>

namespace ulix {

// One instrument's place in that world. Values are degrees Celsius or kilopascals, or what else the sensor at an input
// gives. Called as the simulator is: one call at a time.
class Surroundings {
 public:
  virtual ~Surroundings() = default;
  // The quantity as the source's own sensor sees it.
  virtual double Actual() = 0;
  virtual void SetPoint(double value) = 0;
  // One measurement at an input, noise included. None where nothing is connected.
  virtual std::optional<double> Input(unsigned input) = 0;
};

}  // namespace ulix

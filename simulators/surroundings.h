// The surroundings of a simulated instrument that shares a physical world with others.
#pragma once

#include <optional>

namespace ulix {

// The place of one instrument in that world. Values are in degrees Celsius, kilopascals or the unit of the sensor at an
// input. Like the simulator, it is called by one thread at a time.
class Surroundings {
 public:
  virtual ~Surroundings() = default;
  // The quantity that the source's own sensor measures.
  virtual double Actual() = 0;
  virtual void SetPoint(double value) = 0;
  // One measurement at an input, with noise; nullopt when nothing is connected to the input.
  virtual std::optional<double> Input(unsigned input) = 0;
};

}  // namespace ulix

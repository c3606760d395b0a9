#include "simulators/thermal_model.h"

#include <chrono>
#include <cmath>
#include <utility>

namespace ulix {

void ThermalModel::Advance() {
  if (place) {
    temperature = place->Actual();
    return;
  }
  const MonotonicTime now = clock_.Now();
  const double seconds = std::chrono::duration<double>(now - std::exchange(moved_, now)).count();
  const double left = time_constant > 0 ? std::exp(-seconds / time_constant) : 0;
  temperature = set_point + (temperature - set_point) * left;
}

double ThermalModel::Measure() {
  Advance();
  return place ? temperature : temperature + random_.Next(noise);
}

void ThermalModel::SetPoint(double value) {
  Advance();
  set_point = value;
  if (place) place->SetPoint(value);
}

}  // namespace ulix

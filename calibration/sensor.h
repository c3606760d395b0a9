// A sensor of a plan or of the command line, which converts ohms or millivolts to temperatures.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "calibration/problem.h"

namespace ulix::calibration {

// An immutable value, cheap to copy, safe on any thread. Its text, in upper or lower case, is one of:
//   pt100  pt25  pt500  pt1000
//       industrial platinum with the coefficients of IEC 60751
//   cvd:r0=100.0189,a=3.913e-3,b=-6.056e-7,c=1.372e-12
//       industrial platinum with individual coefficients; missing ones are those of IEC 60751
//   K  K:junction=25
//       a thermocouple type, and the temperature of its reference junction (0 by default)
//   its90:r=25.5,range=zinc,a=...,b=...,low-range=argon,low-a=...,low-b=...
//       a standard thermometer with the coefficients of its certificate
// Ranges of ITS-90: argon, mercury, gallium, indium, tin, zinc, aluminium, silver (with c, d, w-aluminium).
class Sensor {
 public:
  // Fails for an unknown name or key, for an invalid number, and for coefficients that no thermometer can have.
  static Result<Sensor> Parse(std::string_view text);

  // "ohm" or "mV".
  std::string_view unit() const;
  // Convert ohms or millivolts to degrees Celsius, and back. Both fail outside of the sensor's range.
  Result<double> Celsius(double electrical) const;
  Result<double> Electrical(double celsius) const;
  // The slope in ohms or millivolts per kelvin, for uncertainties. Computed from a difference over 2 mK, one-sided at
  // the ends of the range.
  Result<double> Sensitivity(double celsius) const;

  // One kind of sensor.
  class Function;

 private:
  explicit Sensor(std::shared_ptr<const Function> function) : function_(std::move(function)) {}
  std::shared_ptr<const Function> function_;
};

}  // namespace ulix::calibration

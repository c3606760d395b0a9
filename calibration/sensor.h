// A sensor as a plan or the command line names it, and what it turns ohms and millivolts into.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "calibration/problem.h"

namespace ulix::calibration {

// An immutable value, cheap to copy, safe on any thread. Its text is one of
//   pt100  pt25  pt500  pt1000               industrial platinum with the coefficients of IEC 60751
//   cvd:r0=100.0189,a=3.913e-3,b=-6.056e-7,c=1.372e-12   individual coefficients; those left out are IEC 60751's
//   K  K:junction=25                         a thermocouple type, and the temperature of its reference junction (0)
//   its90:r=25.5,range=zinc,a=...,b=...,low-range=argon,low-a=...,low-b=...   a standard thermometer and its
//   certificate
// in any case. Ranges of ITS-90: argon, mercury, gallium, indium, tin, zinc, aluminium, silver (with c, d,
// w-aluminium).
class Sensor {
 public:
  // Refused: a name, a key or a number that is not known, coefficients that are no thermometer's.
  static Result<Sensor> Parse(std::string_view text);

  // "ohm" or "mV".
  std::string_view unit() const;
  // Degrees Celsius from ohms or millivolts, and back. Refused outside of the sensor's range.
  Result<double> Celsius(double electrical) const;
  Result<double> Electrical(double celsius) const;
  // Ohms or millivolts a kelvin, for uncertainties: a difference over 2 mK, one-sided at the ends of the range.
  Result<double> Sensitivity(double celsius) const;

  // One kind of sensor.
  class Function;

 private:
  explicit Sensor(std::shared_ptr<const Function> function) : function_(std::move(function)) {}
  std::shared_ptr<const Function> function_;
};

}  // namespace ulix::calibration

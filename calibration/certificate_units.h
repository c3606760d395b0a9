// Units of plans and instruments as digital certificates write them (D-SI: "\\kilo\\pascal"), and back.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ulix::calibration {

// How values of a plan's unit are written: value * factor in `unit`. Differences of temperatures are kelvins.
struct CertificateUnit {
  std::string unit;
  std::string difference_unit;
  double factor = 1;
};

// None for a unit that certificates have no word for. Known: °C and the usual units of pressure.
std::optional<CertificateUnit> CertificateUnitOf(std::string_view plan_unit);

// A value of a certificate in a plan's unit; none where the two measure different things. A difference of temperatures
// is the same number in kelvins and in degrees Celsius.
std::optional<double> FromCertificateUnit(double value, std::string_view unit, std::string_view plan_unit);
std::optional<double> DifferenceFromCertificateUnit(double value, std::string_view unit, std::string_view plan_unit);

// For people: "\\milli\\volt" is "mV". A text that is not known stays as it is.
std::string ReadableUnit(std::string_view unit);

}  // namespace ulix::calibration

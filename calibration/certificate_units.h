// Conversions between units of plans and those of digital certificates (D-SI: "\\kilo\\pascal").
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ulix::calibration {

// How a certificate states values of a plan's unit: value * factor, in `unit`. Temperature differences are in kelvins.
struct CertificateUnit {
  std::string unit;
  std::string difference_unit;
  double factor = 1;
};

// The unit of certificates for a plan's unit: °C or a usual unit of pressure. None for any other.
std::optional<CertificateUnit> CertificateUnitOf(std::string_view plan_unit);

// Converts a value of a certificate to a plan's unit. None if the two units are of different quantities. A temperature
// difference is the same number in kelvins and in degrees Celsius.
std::optional<double> FromCertificateUnit(double value, std::string_view unit, std::string_view plan_unit);
std::optional<double> DifferenceFromCertificateUnit(double value, std::string_view unit, std::string_view plan_unit);

// A unit as people write it: "mV" for "\\milli\\volt". An unknown text is returned unchanged.
std::string ReadableUnit(std::string_view unit);

}  // namespace ulix::calibration

// Thermocouples of the types B, E, J, K, N, R, S and T: the functions of IEC 60584-1, with the coefficients of NIST
// Monograph 175. Voltages are in millivolts with the reference junction at 0 C; temperatures are in degrees Celsius. A
// value outside a type's range fails and is never extrapolated. Pure functions, safe on any thread.
#pragma once

#include <optional>
#include <string_view>

#include "calibration/problem.h"

namespace ulix::calibration {

enum class ThermocoupleType { kB, kE, kJ, kK, kN, kR, kS, kT };

// The type of a single letter, in upper or lower case; none for any other text.
std::optional<ThermocoupleType> ThermocoupleTypeOf(std::string_view letter);

Result<double> ThermocoupleMillivolts(ThermocoupleType type, double celsius);

// The exact inverse of the function above. Below about 250 C type B has the same voltage at two temperatures, so
// voltages below 0.291 mV fail.
Result<double> ThermocoupleCelsius(ThermocoupleType type, double millivolts);

// The Seebeck coefficient, in mV/K.
Result<double> ThermocoupleSensitivity(ThermocoupleType type, double celsius);

// The temperature for a voltage that was measured with the reference junction at another temperature. The voltage of
// the junction is added, not its temperature.
Result<double> ThermocoupleCelsius(ThermocoupleType type, double millivolts, double junction_celsius);
// The voltage that is measured with the reference junction at that temperature.
Result<double> ThermocoupleMillivolts(ThermocoupleType type, double celsius, double junction_celsius);

}  // namespace ulix::calibration

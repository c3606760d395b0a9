// Thermocouples of the letter-designated types B, E, J, K, N, R, S and T: the functions of IEC 60584-1, whose
// coefficients are those of NIST Monograph 175. Millivolts with the reference junction at 0 C; temperatures in degrees
// Celsius. A value outside a type's range is refused, never extrapolated. Pure functions, safe on any thread.
#pragma once

#include <optional>
#include <string_view>

#include "calibration/problem.h"

namespace ulix::calibration {

enum class ThermocoupleType { kB, kE, kJ, kK, kN, kR, kS, kT };

// A single letter, of any case.
std::optional<ThermocoupleType> ThermocoupleTypeOf(std::string_view letter);

Result<double> ThermocoupleMillivolts(ThermocoupleType type, double celsius);

// The exact inverse of the function above. Type B gives one voltage at two temperatures below about 250 C: less than
// 0.291 mV is refused.
Result<double> ThermocoupleCelsius(ThermocoupleType type, double millivolts);

// The Seebeck coefficient, in mV/K.
Result<double> ThermocoupleSensitivity(ThermocoupleType type, double celsius);

// Of a voltage measured with the reference junction at another temperature: its voltage is added, not its temperature.
Result<double> ThermocoupleCelsius(ThermocoupleType type, double millivolts, double junction_celsius);
// The voltage that is measured then.
Result<double> ThermocoupleMillivolts(ThermocoupleType type, double celsius, double junction_celsius);

}  // namespace ulix::calibration

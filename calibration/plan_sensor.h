// The sensors of a plan, and the units of instruments' readings.
#pragma once

#include <optional>
#include <string_view>

#include "calibration/plan.h"
#include "calibration/sensor.h"

namespace ulix::calibration {

// Makes the sensor of a plan; its type must not be empty. `subrange` of an ITS-90 thermometer is the name of one range
// of calibration/sensor.h, or a range below and one above 0.01 °C joined by '+': "argon+zinc". The names of the lower
// range's coefficients then begin with "low-". `junction` replaces the sensor's own junction temperature.
Result<Sensor> SensorOf(const SensorSpec& spec, std::optional<double> junction = std::nullopt);

// Converts a reading in the unit of its instrument to degrees Celsius. Units: ohms and volts, with the prefixes kilo
// and milli, in the usual spellings, in upper or lower case. An empty unit means that of the sensor. If the sensor has
// no type, the result is the reading itself.
Result<double> ToTemperature(const SensorSpec& spec, double reading, std::string_view unit,
                             std::optional<double> junction = std::nullopt);

// Why readings in `unit` cannot be converted to temperatures. None if they can, or if the sensor has no type.
std::optional<Problem> WhyUnitIsWrong(const SensorSpec& spec, std::string_view unit);

// Converts a step of a channel, in `unit`, to the plan's unit at `value`: the step times the slope of the scale or of
// the sensor. 0 if `value` is outside the sensor's range.
double StepInPlanUnit(const SensorSpec& spec, const std::optional<Scale>& scale, double step, std::string_view unit,
                      double value);

}  // namespace ulix::calibration

// The sensors that a plan names, and the units in which instruments tell their readings.
#pragma once

#include <optional>
#include <string_view>

#include "calibration/plan.h"
#include "calibration/sensor.h"

namespace ulix::calibration {

// The sensor of a plan, whose type is not empty. `subrange` of an ITS-90 thermometer is the name of one range of
// calibration/sensor.h, or one below and one above 0.01 °C joined by '+': "argon+zinc". The coefficients of the one
// below then begin with "low-". `junction` takes the place of the sensor's own.
Result<Sensor> SensorOf(const SensorSpec& spec, std::optional<double> junction = std::nullopt);

// A reading in the unit that its instrument tells, as degrees Celsius. Units: ohms, volts and their thousands and
// thousandths in the usual spellings of any case; an empty unit is taken for the sensor's own. Where the sensor has no
// type, the reading itself.
Result<double> ToTemperature(const SensorSpec& spec, double reading, std::string_view unit,
                             std::optional<double> junction = std::nullopt);

// Why readings in `unit` cannot be turned into temperatures; nothing where they can, or where the sensor has no type.
std::optional<Problem> WhyUnitIsWrong(const SensorSpec& spec, std::string_view unit);

// A step of a channel that tells `unit`, in the plan's unit, where the plan's quantity is `value`: the step times the
// slope of the scale or of the sensor. 0 where the sensor has no such value.
double StepInPlanUnit(const SensorSpec& spec, const std::optional<Scale>& scale, double step, std::string_view unit,
                      double value);

}  // namespace ulix::calibration

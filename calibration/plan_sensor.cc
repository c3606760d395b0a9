#include "calibration/plan_sensor.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/numbers.h"
#include "resources/texts.h"

namespace ulix::calibration {
namespace {

struct UnitRow {
  std::string_view spelling;
  std::string_view unit;  // unit of the sensor's signal
  double factor;
};

constexpr std::array kSensorUnits = {
    UnitRow{"ohm", "ohm", 1},     UnitRow{"ohms", "ohm", 1},    UnitRow{"Ω", "ohm", 1},
    UnitRow{"kohm", "ohm", 1e3},  UnitRow{"kohms", "ohm", 1e3}, UnitRow{"kΩ", "ohm", 1e3},
    UnitRow{"mohm", "ohm", 1e-3}, UnitRow{"mv", "mV", 1},       UnitRow{"millivolts", "mV", 1},
    UnitRow{"v", "mV", 1e3},      UnitRow{"volt", "mV", 1e3},   UnitRow{"volts", "mV", 1e3},
    UnitRow{"uv", "mV", 1e-3},    UnitRow{"µv", "mV", 1e-3},
};

std::string RangeText(const std::string& subrange) {
  std::string text;
  for (const std::string_view name : SplitWords(subrange, "+ ")) {
    const bool low = EqualIgnoringCase(name, "argon") ||
                     (EqualIgnoringCase(name, "mercury") && subrange.find('+') != std::string::npos);
    text += std::string(low ? "low-range=" : "range=") + std::string(name) + ",";
  }
  return text;
}

std::string Assignment(std::string_view key, double value) {
  return std::string(key) + "=" + FormatGeneral(value, 17) + ",";
}

// The sensor as a text for Sensor::Parse.
std::string TextOf(const SensorSpec& spec, std::optional<double> junction) {
  const bool low_only = EqualIgnoringCase(spec.subrange, "argon");
  std::string text = spec.type + ":" + RangeText(spec.subrange);
  if (spec.r0) text += Assignment("r0", *spec.r0);
  if (spec.rtpw) text += Assignment("r", *spec.rtpw);
  for (const auto& [key, value] : spec.coefficients) text += Assignment(low_only ? "low-" + key : key, value);
  if (junction) text += Assignment("junction", *junction);
  return text;
}

// The factor from the instrument's unit to that of the sensor. An empty unit means that of the sensor.
Result<double> FactorOf(const Sensor& sensor, std::string_view unit) {
  if (unit.empty()) return 1;
  const auto row = std::find_if(kSensorUnits.begin(), kSensorUnits.end(), [&](const UnitRow& known) {
    return known.unit == sensor.unit() && EqualIgnoringCase(known.spelling, unit);
  });
  if (row != kSensorUnits.end()) return row->factor;
  return Refused(TextId::kSensorWrongUnit, {std::string(unit), std::string(sensor.unit())});
}

}  // namespace

Result<Sensor> SensorOf(const SensorSpec& spec, std::optional<double> junction) {
  return Sensor::Parse(TextOf(spec, junction ? junction : spec.junction));
}

Result<double> ToTemperature(const SensorSpec& spec, double reading, std::string_view unit,
                             std::optional<double> junction) {
  if (spec.type.empty()) return reading;
  return SensorOf(spec, junction).and_then([&](const Sensor& sensor) {
    return FactorOf(sensor, unit).and_then([&](double factor) { return sensor.Celsius(reading * factor); });
  });
}

std::optional<Problem> WhyUnitIsWrong(const SensorSpec& spec, std::string_view unit) {
  if (spec.type.empty()) return std::nullopt;
  const auto factor = SensorOf(spec).and_then([&](const Sensor& sensor) { return FactorOf(sensor, unit); });
  return factor ? std::nullopt : std::optional(factor.error());
}

double StepInPlanUnit(const SensorSpec& spec, const std::optional<Scale>& scale, double step, std::string_view unit,
                      double value) {
  if (scale) return std::abs(step * (scale->to_high - scale->to_low) / (scale->from_high - scale->from_low));
  if (spec.type.empty()) return step;
  const auto converted = SensorOf(spec).and_then([&](const Sensor& sensor) {
    return FactorOf(sensor, unit).and_then([&](double factor) {
      return sensor.Sensitivity(value).map([&](double slope) { return std::abs(step * factor / slope); });
    });
  });
  return converted.value_or(0);
}

}  // namespace ulix::calibration

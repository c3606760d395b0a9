#include "drivers/others/jofrartcptc/protocol.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "base/numbers.h"
#include "base/text.h"

namespace ulix::jofrartcptc {
namespace {

constexpr std::string_view kErrorAnswer = "<Error Invalid command or argument(s)>";
constexpr std::string_view kError = "<Error";

constexpr double kZeroCelsius = 273.15;  // in kelvin

// Half of the last digit compared, and what rounding to a float may add.
constexpr double kHalfTenth = 0.05 + 1e-4;

// A unit word of the CTC, and its way to degrees Celsius.
struct UnitRow {
  std::string_view word;
  double zero;  // at 0 degrees Celsius
  double per_celsius;
};
constexpr std::array kUnits = {UnitRow{"CEL", 0, 1}, UnitRow{"FAR", 32, 1.8}, UnitRow{"KEL", kZeroCelsius, 1}};

std::optional<double> Celsius(double value, std::string_view unit) {
  const auto row = std::find_if(kUnits.begin(), kUnits.end(), [&](const UnitRow& r) { return r.word == unit; });
  if (row == kUnits.end()) return std::nullopt;
  return (value - row->zero) / row->per_celsius;
}

// Field of an answer, without the bracket that ends the answer; empty when there is none.
std::string_view FieldAt(const std::vector<std::string_view>& fields, std::size_t at) {
  if (at >= fields.size()) return {};
  std::string_view field = fields[at];
  if (field.ends_with('>')) field.remove_suffix(1);
  return field;
}

std::optional<double> TemperatureAt(const std::vector<std::string_view>& fields, std::size_t value, std::size_t unit) {
  const auto number = ParseDecimal(FieldAt(fields, value));
  if (!number || unit == kNoField) return number;
  return Celsius(*number, FieldAt(fields, unit));
}

bool IsRtc(const std::vector<std::string_view>& fields) {
  const std::string_view device = FieldAt(fields, 7);
  return FieldAt(fields, 0) == "<GetResponse" && FieldAt(fields, 1) == "CalibratorDevice" &&
         (device.find("RTC_") != device.npos || device.find("PTC_") != device.npos);
}

bool IsCtc(const std::vector<std::string_view>& fields) {
  return FieldAt(fields, 0) == "JOFRA" && FieldAt(fields, 1).find("CTC-") != std::string_view::npos;
}

bool IsCtcDialect(const Dialect& dialect) { return &dialect == &kCtc; }

}  // namespace

bool SpeaksAscii(std::string_view answer) { return answer == "<ASCII protocol activated>" || answer == kErrorAnswer; }

bool IsOf(const Dialect& dialect, std::string_view identification) {
  const auto fields = SplitWords(identification, dialect.separators);
  return IsCtcDialect(dialect) ? IsCtc(fields) : IsRtc(fields);
}

bool IsError(std::string_view answer) { return answer.starts_with(kError); }

Expected<float> ParseReading(const Dialect& dialect, std::string_view answer, const ChannelPlace& place) {
  if (IsError(answer)) return Failure(jofrartcptcCtlErrNack);
  const auto fields = SplitWords(answer, dialect.separators);
  if (FieldAt(fields, place.value) == "NaN") return Failure(jofrartcptcCtlErrNoMeasAvailable);
  const auto value = TemperatureAt(fields, place.value, place.unit);
  if (!value || !std::isfinite(static_cast<float>(*value))) return Failure(serialCommErrUnableToReadComm);
  return static_cast<float>(*value);
}

Expected<std::string> SetPointCommand(const Dialect& dialect, float value) {
  if (!(std::isfinite(value) && value >= -kZeroCelsius)) return Failure(jofrartcptcCtlErrOutOfRange);
  if (!IsCtcDialect(dialect)) return "Settemperature " + FormatFixed(value, 2);
  return "SETTEMP " + FormatFixed(value + kZeroCelsius, 2) + " KEL";
}

//  <GetResponse SETTemperature 50.00>        323.15, KEL
bool ConfirmsSetPoint(const Dialect& dialect, std::string_view answer, float value) {
  const auto fields = SplitWords(answer, dialect.separators);
  std::optional<double> told;
  if (IsCtcDialect(dialect)) {
    told = TemperatureAt(fields, 0, 1);
  } else if (fields.size() > 2 && fields[2].find('>') != std::string_view::npos) {
    told = TemperatureAt(fields, 2, kNoField);
  }
  return told && std::abs(*told - value) <= kHalfTenth;
}

}  // namespace ulix::jofrartcptc

#include "drivers/others/jofrartcptc/protocol.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "base/numbers.h"
#include "base/reply_field.h"
#include "base/rows.h"
#include "base/text.h"

namespace ulix::jofrartcptc {
namespace {

constexpr std::string_view kErrorAnswer = "<Error Invalid command or argument(s)>";
constexpr std::string_view kError = "<Error";
constexpr std::string_view kNoMeasure = "NaN";

constexpr double kZeroCelsius = 273.15;  // in kelvin

// Half of the last compared digit, plus the rounding error of a float.
constexpr double kHalfTenth = 0.05 + 1e-4;

// A unit word of the CTC, and its conversion to degrees Celsius.
struct UnitRow {
  std::string_view word;
  double zero;  // the value at 0 degrees Celsius
  double per_celsius;
};
constexpr std::array kUnits = {UnitRow{"CEL", 0, 1}, UnitRow{"FAR", 32, 1.8}, UnitRow{"KEL", kZeroCelsius, 1}};

std::optional<double> Celsius(double value, std::string_view unit) {
  const UnitRow* row = RowWith(kUnits, &UnitRow::word, unit);
  return row ? std::optional((value - row->zero) / row->per_celsius) : std::nullopt;
}

// The fields of an RTC's answer to `query`, without its brackets. Empty if it is not exactly one whole answer to that
// query, because another answer before it would shift the fields.
std::vector<std::string_view> RtcFields(std::string_view answer, std::string_view query) {
  const bool whole = answer.starts_with('<') && answer.rfind('<') == 0 && answer.find('>') + 1 == answer.size();
  if (!whole || !IsPlainText(answer)) return {};
  auto fields = SplitWords(answer.substr(1, answer.size() - 2), kRtc.separators);
  query.remove_suffix(query.ends_with('?') ? 1 : 0);
  const bool is_reply = FieldAt(fields, 0) == "GetResponse" && EqualIgnoringCase(FieldAt(fields, 1), query);
  return is_reply ? fields : std::vector<std::string_view>();
}

bool IsTold(const std::vector<std::string_view>& fields, const ChannelPlace& place) {
  const std::string_view value = FieldAt(fields, place.value);
  return (value == kNoMeasure || ParseField(value)) && Celsius(0, FieldAt(fields, place.unit));
}

// The fields of a CTC's answer to "READINGS?". Empty if not every value and unit is in its place. An answer to another
// query is shorter; another answer before this one would shift the fields.
std::vector<std::string_view> CtcFields(std::string_view answer) {
  if (!IsPlainText(answer)) return {};
  auto fields = SplitWords(answer, kCtc.separators);
  const bool whole = std::ranges::all_of(kCtcPlaces, [&](const auto& place) { return IsTold(fields, place); });
  return whole ? fields : std::vector<std::string_view>();
}

std::optional<double> TemperatureAt(const std::vector<std::string_view>& fields, std::size_t value, std::size_t unit) {
  const auto number = ParseDoubleField(FieldAt(fields, value));
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
  const auto fields = IsCtcDialect(dialect) ? CtcFields(answer) : RtcFields(answer, dialect.readings);
  if (FieldAt(fields, place.value) == kNoMeasure) return Failure(jofrartcptcCtlErrNoMeasAvailable);
  const auto value = TemperatureAt(fields, place.value, place.unit);
  if (!value || !std::isfinite(static_cast<float>(*value))) return Failure(serialCommErrUnableToReadComm);
  return static_cast<float>(*value);
}

std::size_t CountFields(const Dialect& dialect, std::string_view answer) {
  return SplitWords(answer, dialect.separators).size();
}

Expected<std::string> SetPointCommand(const Dialect& dialect, float value) {
  if (!(std::isfinite(value) && value >= -kZeroCelsius)) return Failure(jofrartcptcCtlErrOutOfRange);
  if (!IsCtcDialect(dialect)) return "Settemperature " + FormatFixed(value, 2);
  return "SETTEMP " + FormatFixed(value + kZeroCelsius, 2) + " KEL";
}

//  <GetResponse SETTemperature 50.00>        323.15, KEL
bool ConfirmsSetPoint(const Dialect& dialect, std::string_view answer, float value) {
  std::optional<double> confirmed;
  if (IsCtcDialect(dialect)) {
    const auto fields = SplitWords(answer, dialect.separators);
    if (fields.size() == 2) confirmed = TemperatureAt(fields, 0, 1);
  } else {
    const auto fields = RtcFields(answer, dialect.set_point);
    if (fields.size() == 3) confirmed = TemperatureAt(fields, 2, kNoField);
  }
  return confirmed && std::abs(*confirmed - value) <= kHalfTenth;
}

}  // namespace ulix::jofrartcptc

#include "drivers/others/flukehydra/protocol.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "base/numbers.h"
#include "base/reply_field.h"
#include "base/rows.h"
#include "base/text.h"
#include "drivers/others/flukehydra/tables.h"

namespace ulix::flukehydra {
namespace {

constexpr std::string_view kReady = "=>";

// Values that stand for a missing value. Real measurements are far below them.
constexpr double kOverload = 1e9;  // of either sign
constexpr double kOpenThermocouple = 9e9;

// The longest scan interval of the instrument.
constexpr std::uint32_t kMaxHours = 99;
constexpr std::uint32_t kMaxMinutes = 59;
constexpr std::uint32_t kMaxSeconds = 59;

const FunctionRow* ScaledFunction(std::uint32_t code) { return RowWith(kScaledFunctions, &FunctionRow::code, code); }

const RangeRow* RangeOf(const ChannelConfig& config) {
  const FunctionRow* function = ScaledFunction(config.function);
  return function && config.range < function->ranges.size() ? &function->ranges[config.range] : nullptr;
}

bool MeasuresTemperature(std::uint32_t function) {
  return function == kThermocouple || function == kResistanceThermometer;
}

std::optional<std::uint32_t> WholeNumber(std::string_view text, std::uint32_t greatest) {
  const auto number = ParseDecimal(text);
  if (!number || !(*number >= 0 && *number <= greatest) || std::trunc(*number) != *number) return std::nullopt;
  return static_cast<std::uint32_t>(*number);
}

// The fields of a result. Empty fields count: "OHMS,,4" has no range.
std::vector<std::string_view> Fields(std::string_view result) {
  auto fields = SplitFields(result, ',');
  for (std::string_view& field : fields) field = Trimmed(field);
  return fields;
}

Expected<ChannelConfig> TemperatureConfig(std::string_view sensor) {
  if (EqualIgnoringCase(sensor, "PT")) return ChannelConfig{kResistanceThermometer, 0};
  const auto type = CodeOfLabel(kThermocoupleTypes, sensor);
  if (!type) return Failure(flukehydraCtlErrNack);
  return ChannelConfig{kThermocouple, *type};
}

// The code of a function, from its word or its number.
std::optional<std::uint32_t> FunctionCode(std::string_view field) {
  const auto code = CodeOfLabel(kFunctionLabels, field);
  return code ? code : WholeNumber(field, kGreatestCode);
}

std::optional<std::uint32_t> RangeIndex(std::uint32_t function, std::string_view field) {
  const FunctionRow* scaled = ScaledFunction(function);
  if (!scaled) return field.empty() ? 0 : WholeNumber(field, kGreatestCode);
  if (EqualIgnoringCase(field, "AUTO")) return 0;
  return WholeNumber(field, static_cast<std::uint32_t>(scaled->ranges.size() - 1));
}

}  // namespace

std::string_view WithoutReturn(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

bool IsHydra(std::string_view identification) {
  constexpr std::string_view kMaker = "FLUKE,";
  if (!identification.starts_with(kMaker)) return false;
  const std::string_view rest = identification.substr(kMaker.size());
  return rest.substr(0, rest.find(',')).find("2635") != std::string_view::npos;
}

bool IsPrompt(std::string_view line) {
  line = WithoutReturn(line);
  return line == kReady || line == "=?" || line == "=!";
}

bool IsEndOfReady(std::string_view line) { return kReady.ends_with(WithoutReturn(line)); }

bool IsImpossible(std::string_view prompt) { return prompt.starts_with("=!"); }

bool IsRefusal(std::string_view prompt) { return prompt.starts_with("=?") || IsImpossible(prompt); }

HRESULT RefusalIn(std::string_view result, const Refusals& refusals) {
  if (result.starts_with("=?\r")) return refusals.not_understood;
  return result.starts_with("=!\r") ? refusals.not_possible : S_OK;
}

ChannelConfig ChannelIn(const std::vector<StoredValue>& values, ChannelId channel) {
  return {CodeIn(values, kSettings[FunctionSetting(channel)]), CodeIn(values, kSettings[RangeSetting(channel)])};
}

void PutChannel(std::vector<StoredValue>& values, ChannelId channel, const ChannelConfig& config) {
  PutCode(values, kSettings[FunctionSetting(channel)], config.function);
  PutCode(values, kSettings[RangeSetting(channel)], config.range);
}

Expected<double> ScaleOf(const ChannelConfig& config) {
  if (!ScaledFunction(config.function)) return 1.0;
  const RangeRow* range = RangeOf(config);
  return range ? Expected<double>(range->scale) : Failure(flukehydraCtlErrNack);
}

Expected<float> ParseLast(std::string_view result, double scale) {
  static constexpr FieldForm kForm = {.behind = FieldForm::Behind::kUnit, .separators = " \t,"};
  const auto field = ParseField(result, kForm);
  if (!field) return Failure(serialCommErrUnableToReadComm);
  if (std::abs(field->value) == kOverload || IsOverload(field->value)) return Failure(flukehydraCtlErrOutOfRange);
  if (field->value == kOpenThermocouple) return Failure(flukehydraCtlErrOtc);
  const auto value = static_cast<float>(field->value * scale);
  if (!std::isfinite(value)) return Failure(serialCommErrUnableToReadComm);
  return value;
}

//  OHMS , 3 , 4        TEMP , K
//  |      |   |               |
//  |      |   wires           thermocouple type, or PT
//  |      range, or AUTO
//  function by word or number, or OFF
Expected<ChannelConfig> ParseFunction(std::string_view result) {
  const auto fields = Fields(result);
  const std::string_view detail = fields.size() > 1 ? fields[1] : std::string_view();
  if (EqualIgnoringCase(fields[0], "TEMP")) return TemperatureConfig(detail);
  const auto function = FunctionCode(fields[0]);
  const auto range = function ? RangeIndex(*function, detail) : std::nullopt;
  if (!range) return Failure(flukehydraCtlErrNack);
  return ChannelConfig{*function, *range};
}

Expected<std::uint32_t> ParseNumber(std::string_view result, std::uint32_t greatest) {
  const auto fields = Fields(result);
  const auto number = fields.size() == 1 ? WholeNumber(fields[0], greatest) : std::nullopt;
  return number ? Expected<std::uint32_t>(*number) : Failure(flukehydraCtlErrNack);
}

Expected<std::uint32_t> ParseInterval(std::string_view result) {
  const auto fields = Fields(result);
  if (fields.size() == 1 && EqualIgnoringCase(fields[0], "OFF")) return 0;
  if (fields.size() != 3) return Failure(flukehydraCtlErrNack);
  const auto hours = WholeNumber(fields[0], kMaxHours);
  const auto minutes = WholeNumber(fields[1], kMaxMinutes);
  const auto seconds = WholeNumber(fields[2], kMaxSeconds);
  if (!hours || !minutes || !seconds) return Failure(flukehydraCtlErrNack);
  return (*hours * 60 + *minutes) * 60 + *seconds;
}

std::string UnitOf(const ChannelConfig& config, std::uint32_t unit) {
  if (MeasuresTemperature(config.function)) return kUnitTexts[unit < kUnitTexts.size() ? unit : 0];
  const RangeRow* range = RangeOf(config);
  return range ? range->unit : "";
}

int ResolutionOf(const ChannelConfig& config) {
  if (MeasuresTemperature(config.function)) return kTemperatureResolution;
  const RangeRow* range = RangeOf(config);
  return range ? range->resolution : kUnknownResolution;
}

}  // namespace ulix::flukehydra

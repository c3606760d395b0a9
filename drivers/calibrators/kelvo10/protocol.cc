#include "drivers/calibrators/kelvo10/protocol.h"

#include <array>
#include <cmath>

#include "base/numbers.h"
#include "base/text.h"
#include "drivers/calibrators/kelvo10/tables.h"

namespace ulix::kelvo10 {
namespace {

constexpr int kUnknownResolution = 6;

const FunctionRow* FunctionOf(std::uint32_t code) {
  return code >= 1 && code <= kFunctions.size() ? &kFunctions[code - 1] : nullptr;
}

bool MeasuresTemperature(Family family) {
  return family == Family::kThermocouple || family == Family::kResistanceThermometer;
}

// A thermocouple needs no connection word and takes one; elsewhere a range either has one or none.
bool HasConnection(Side side, Family family, std::uint32_t connection) {
  switch (family) {
    case Family::kVoltage:
      return false;
    case Family::kResistance:
      return side == Side::kInput;
    case Family::kThermocouple:
      return connection != 0;
    default:
      return true;
  }
}

// Parameters of a range command; a word that its table does not have spoils the whole.
class Parameters {
 public:
  void Add(std::string_view word) {
    if (word.empty()) valid_ = false;
    text_ += text_.empty() ? "" : ",";
    text_ += word;
  }
  Expected<std::string> Line(std::string_view command) const {
    if (!valid_) return Failure(kelvo10CtlErrRgeNotSupported);
    return std::string(command) + text_;
  }

 private:
  std::string text_;
  bool valid_ = true;
};

SettingIndex IndexOn(Side side, SettingIndex of_input) {
  const int step = side == Side::kInput ? 0 : kOutputFunction - kInputFunction;
  return static_cast<SettingIndex>(of_input + step);
}

const SettingRow& RowOn(Side side, SettingIndex of_input) {
  return kSettings[static_cast<std::size_t>(IndexOn(side, of_input))];
}

bool IsHeader(std::string_view word) { return word.starts_with("RANGE_") || word.starts_with("CFG_"); }

// The places that words of a reply fill, each once.
struct FoundWords {
  std::optional<std::uint32_t> function, connection, sensor, unit, cold_junction;
  std::optional<double> temperature;
};

struct Place {
  std::span<const CodedWord> words;
  std::optional<std::uint32_t> FoundWords::*found;
};

constexpr std::array kPlaces = {
    Place{kFunctionWords, &FoundWords::function},
    Place{kConnectionWords, &FoundWords::connection},
    Place{kSensorWords, &FoundWords::sensor},
    Place{kUnitWords, &FoundWords::unit},
    Place{kColdJunctionWords, &FoundWords::cold_junction},
};

// False for a word that fits no place or comes a second time. Words are compared whole: "RT" is no part of "JR_RTD".
bool PutWord(FoundWords& found, std::string_view word) {
  for (const Place& place : kPlaces) {
    const auto code = CodeOfWord(place.words, word);
    if (!code) continue;
    if (found.*place.found) return false;
    found.*place.found = code;
    return true;
  }
  const auto number = ParseDecimal(word);
  if (!number || found.temperature || found.cold_junction != kProgrammedColdJunction) return false;
  found.temperature = number;
  return true;
}

// Whether what was found is all that the function needs.
bool IsWhole(const FoundWords& found) {
  const FunctionRow* function = found.function ? FunctionOf(*found.function) : nullptr;
  if (!function) return false;
  if (found.temperature && !std::isfinite(static_cast<float>(*found.temperature))) return false;
  return !MeasuresTemperature(function->family) || (found.sensor && found.unit);
}

}  // namespace

SideConfig SideIn(const std::vector<StoredValue>& values, Side side) {
  SideConfig config;
  config.function = CodeIn(values, RowOn(side, kInputFunction));
  config.connection = CodeIn(values, RowOn(side, kInputConnection));
  config.sensor = CodeIn(values, RowOn(side, kInputSensor));
  config.cold_junction = CodeIn(values, RowOn(side, kInputColdJunction));
  config.cold_junction_temperature = RealIn(values, RowOn(side, kInputColdJunctionTemperature));
  return config;
}

void PutSide(std::vector<StoredValue>& values, Side side, const SideConfig& config) {
  PutCode(values, RowOn(side, kInputFunction), config.function);
  PutCode(values, RowOn(side, kInputConnection), config.connection);
  PutCode(values, RowOn(side, kInputSensor), config.sensor);
  PutCode(values, RowOn(side, kInputColdJunction), config.cold_junction);
  PutReal(values, RowOn(side, kInputColdJunctionTemperature), config.cold_junction_temperature);
}

Expected<std::string> RangeCommand(Side side, const SideConfig& config, std::uint32_t unit) {
  const FunctionRow* function = FunctionOf(config.function);
  if (!function) return Failure(kelvo10CtlErrRgeNotSupported);
  Parameters parameters;
  parameters.Add(function->word);
  if (HasConnection(side, function->family, config.connection)) {
    parameters.Add(WordOf(kConnectionWords, config.connection));
  }
  if (MeasuresTemperature(function->family)) {
    parameters.Add(WordOf(kSensorWords, config.sensor));
    parameters.Add(WordOf(kUnitWords, unit));
  }
  if (function->family == Family::kThermocouple) {
    parameters.Add(WordOf(kColdJunctionWords, config.cold_junction));
    if (config.cold_junction == kProgrammedColdJunction) {
      parameters.Add(FormatGeneral(config.cold_junction_temperature));
    }
  }
  return parameters.Line(side == Side::kInput ? "RANGE_IN " : "RANGE_OUT ");
}

Expected<RangeReply> ParseRangeReply(std::string_view reply, const SideConfig& before) {
  FoundWords found;
  bool first = true;
  for (const std::string_view word : SplitWords(reply, ", \t\r")) {
    const bool is_header = first && IsHeader(word);
    first = false;
    if (!is_header && !PutWord(found, word)) return Failure(kelvo10CtlErrRgeNotSupported);
  }
  if (!IsWhole(found)) return Failure(kelvo10CtlErrRgeNotSupported);
  RangeReply range{before, found.unit};
  range.config.function = *found.function;
  range.config.connection = found.connection.value_or(0);
  range.config.sensor = found.sensor.value_or(0);
  range.config.cold_junction = found.cold_junction.value_or(before.cold_junction);
  if (found.temperature) range.config.cold_junction_temperature = static_cast<float>(*found.temperature);
  return range;
}

bool IsKelvo10(std::string_view identification) { return identification.find("KELVO10") != std::string_view::npos; }

Expected<float> ParseMeasure(std::string_view reply) {
  const auto number = ParseDecimalPrefix(reply);
  if (!number) return 0.0F;
  const auto value = static_cast<float>(number->value);
  if (!std::isfinite(value)) return Failure(serialCommErrUnableToReadComm);
  return value;
}

std::string OutputCommand(float value) { return "OUT " + FormatFixed(value); }

std::string UnitOf(std::uint32_t function, std::uint32_t unit) {
  const FunctionRow* row = FunctionOf(function);
  if (!row) return {};
  if (row->unit) return row->unit;
  return kUnitTexts[unit < kUnitTexts.size() ? unit : 0];
}

int ResolutionOf(std::uint32_t function) {
  const FunctionRow* row = FunctionOf(function);
  return row ? row->resolution : kUnknownResolution;
}

}  // namespace ulix::kelvo10

#include "drivers/calibrators/range_calibrator/protocol.h"

#include <algorithm>
#include <array>

#include "base/numbers.h"
#include "base/reply_field.h"
#include "base/text.h"

namespace ulix::range_calibrator {
namespace {

const FunctionRow* FunctionOf(const Model& model, std::uint32_t code) {
  return code >= 1 && code <= model.functions.size() ? &model.functions[code - 1] : nullptr;
}

const SettingRow& Row(const Model& model, SettingIndex index) {
  return model.card.settings[static_cast<std::size_t>(index)];
}

const SettingRow& RowOn(const Model& model, Side side, SettingIndex of_input) {
  const int step = side == Side::kInput ? 0 : kOutputFunction - kInputFunction;
  return Row(model, static_cast<SettingIndex>(of_input + step));
}

// Whether the range command of this function has a word for this setting.
bool IsNamed(const Model& model, Side side, SettingIndex of_input, std::uint32_t function) {
  return RowOn(model, side, of_input).depends->MeansSomething(function);
}

// Whether the range command has a word for the connection. With a thermocouple this word is optional; with any other
// function it is either required or not allowed.
bool NamesConnection(const Model& model, Side side, const SideConfig& config) {
  const bool none_will_do = RowOn(model, side, kInputConnection).depends->Has(config.function, 0);
  return IsNamed(model, side, kInputConnection, config.function) && !(none_will_do && config.connection == 0);
}

// Whether a word is the header that may precede the words of a reply. The header of the other side belongs to the other
// query.
bool IsHeader(Side side, std::string_view word) {
  const std::string upper = AsciiUpper(word);
  constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ_";
  const std::string_view other = side == Side::kInput ? "OUT" : "IN";
  return upper.find_first_not_of(kLetters) == upper.npos && !upper.ends_with(other);
}

// The words found in a reply, each at most once.
struct FoundLabels {
  std::optional<std::uint32_t> function, connection, sensor, unit, cold_junction;
  std::optional<float> temperature;
  std::string_view electrical_unit;
};

struct Place {
  SettingIndex setting;
  std::optional<std::uint32_t> FoundLabels::*found;
};

constexpr std::string_view kSeparators = ", \t\r";

constexpr std::array kPlaces = {
    Place{kInputFunction, &FoundLabels::function},
    Place{kInputConnection, &FoundLabels::connection},
    Place{kInputSensor, &FoundLabels::sensor},
    Place{kTemperatureUnit, &FoundLabels::unit},
    Place{kInputColdJunction, &FoundLabels::cold_junction},
};

bool IsLabel(const Model& model, std::string_view word) {
  return std::any_of(kPlaces.begin(), kPlaces.end(), [&](const Place& place) {
    return CodeOfLabel(Row(model, place.setting).labels, word).has_value();
  });
}

// Accepts the unit of an electrical range, which the reply may name: "V50,V".
bool PutElectricalUnit(const Model& model, FoundLabels& found, std::string_view word) {
  const bool known = std::any_of(model.functions.begin(), model.functions.end(), [&](const FunctionRow& function) {
    return function.unit && EqualIgnoringCase(function.unit, word);
  });
  if (!known || !found.electrical_unit.empty()) return false;
  found.electrical_unit = word;
  return true;
}

// Stores a word. False for an unknown word and for a second word of the same kind. Whole words are compared, so that
// "RT" is not found in "JR_RTD".
bool PutLabel(const Model& model, FoundLabels& found, std::string_view word) {
  for (const Place& place : kPlaces) {
    const auto code = CodeOfLabel(Row(model, place.setting).labels, word);
    if (!code) continue;
    if (found.*place.found) return false;
    found.*place.found = code;
    return true;
  }
  if (PutElectricalUnit(model, found, word)) return true;
  const auto number = ParseField(word);
  if (!number || found.temperature || found.cold_junction != kProgrammedColdJunction) return false;
  found.temperature = static_cast<float>(number->value);
  return true;
}

// Whether all words that the function needs were found.
bool IsWhole(const Model& model, const FoundLabels& found) {
  const FunctionRow* function = found.function ? FunctionOf(model, *found.function) : nullptr;
  if (!function) return false;
  const bool has_electrical = !found.electrical_unit.empty();
  if (has_electrical && !(function->unit && EqualIgnoringCase(function->unit, found.electrical_unit))) return false;
  return !IsNamed(model, Side::kInput, kInputSensor, *found.function) || (found.sensor && found.unit);
}

}  // namespace

SideConfig SideIn(const Model& model, const std::vector<StoredValue>& record, Side side) {
  SideConfig config;
  config.function = CodeIn(record, RowOn(model, side, kInputFunction));
  config.connection = CodeIn(record, RowOn(model, side, kInputConnection));
  config.sensor = CodeIn(record, RowOn(model, side, kInputSensor));
  config.cold_junction = CodeIn(record, RowOn(model, side, kInputColdJunction));
  config.cold_junction_temperature = RealIn(record, RowOn(model, side, kInputColdJunctionTemperature));
  return config;
}

void PutSide(const Model& model, std::vector<StoredValue>& record, Side side, const SideConfig& config) {
  PutCode(record, RowOn(model, side, kInputFunction), config.function);
  PutCode(record, RowOn(model, side, kInputConnection), config.connection);
  PutCode(record, RowOn(model, side, kInputSensor), config.sensor);
  PutCode(record, RowOn(model, side, kInputColdJunction), config.cold_junction);
  PutReal(record, RowOn(model, side, kInputColdJunctionTemperature), config.cold_junction_temperature);
}

std::uint32_t UnitIn(const Model& model, const std::vector<StoredValue>& record) {
  return CodeIn(record, Row(model, kTemperatureUnit));
}

void PutUnit(const Model& model, std::vector<StoredValue>& record, std::uint32_t unit) {
  PutCode(record, Row(model, kTemperatureUnit), unit);
}

Expected<std::string> RangeCommand(const Model& model, Side side, const SideConfig& config, std::uint32_t unit) {
  const FunctionRow* function = FunctionOf(model, config.function);
  if (!function) return Failure(model.range_not_supported);
  std::vector<std::string> words = {function->label};
  const auto add = [&](SettingIndex index, std::uint32_t code) {
    words.emplace_back(LabelOf(Row(model, index).labels, code));
  };
  if (NamesConnection(model, side, config)) add(kInputConnection, config.connection);
  if (IsNamed(model, side, kInputSensor, config.function)) {
    add(kInputSensor, config.sensor);
    add(kTemperatureUnit, unit);
  }
  const bool thermocouple = IsNamed(model, side, kInputColdJunction, config.function);
  if (thermocouple) add(kInputColdJunction, config.cold_junction);
  if (thermocouple && config.cold_junction == kProgrammedColdJunction) {
    words.push_back(FormatGeneral(config.cold_junction_temperature));
  }
  return OrFailure(CommandOf(side == Side::kInput ? "RANGE_IN " : "RANGE_OUT ", words), model.range_not_supported);
}

Expected<RangeReply> ParseRangeReply(const Model& model, Side side, std::string_view reply, const SideConfig& before) {
  const bool may_be_cut = reply.size() >= kLongestReply && reply.find_last_of(kSeparators) + 1 != reply.size();
  auto words = SplitWords(reply, kSeparators);
  const bool has_header = !words.empty() && !IsLabel(model, words.front()) && IsHeader(side, words.front());
  if (has_header) words.erase(words.begin());
  FoundLabels found;
  const bool known = std::all_of(words.begin(), words.end(), [&](auto word) { return PutLabel(model, found, word); });
  if (may_be_cut || !known || !IsWhole(model, found)) return Failure(model.range_not_supported);
  RangeReply range{before, found.unit};
  range.config.function = *found.function;
  range.config.connection = found.connection.value_or(0);
  range.config.sensor = found.sensor.value_or(0);
  range.config.cold_junction = found.cold_junction.value_or(before.cold_junction);
  if (found.temperature) range.config.cold_junction_temperature = *found.temperature;
  return range;
}

Expected<Measured> ParseMeasure(std::string_view reply) {
  static constexpr std::array<std::string_view, 9> kUnits = {"V", "MV", "MA", "OHM",       "OHMS",
                                                             "C", "F",  "K",  kCelsiusText};
  static constexpr FieldForm kForm = {.behind = FieldForm::Behind::kText, .joined_units = kUnits};
  if (MayCutNumber(reply, kLongestReply)) return Failure(serialCommErrUnableToReadComm);
  if (IsPlainText(reply) && !ParseDecimalPrefix(reply)) return Measured{0.0F, Doubt::kNoNumber};
  return OrFailure(ParseFloatField(reply, kForm), serialCommErrUnableToReadComm).map([](float value) {
    return Measured{value};
  });
}

std::string OutputCommand(float value) { return "OUT " + FormatFixed(value); }

std::string UnitOf(const Model& model, std::uint32_t function, std::uint32_t unit) {
  const FunctionRow* row = FunctionOf(model, function);
  if (!row) return {};
  if (row->unit) return row->unit;
  return kUnitTexts[unit < kUnitTexts.size() ? unit : 0];
}

int ResolutionOf(const Model& model, std::uint32_t function) {
  const FunctionRow* row = FunctionOf(model, function);
  return row ? row->resolution : kUnknownResolution;
}

}  // namespace ulix::range_calibrator

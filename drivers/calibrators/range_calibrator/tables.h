// The tables that range calibrators have in common. These calibrators have one measuring and one sourcing range, which
// are set by commands with labels. Each model has a Model with what differs.
#pragma once

#include <array>
#include <tuple>
#include <utility>

#include "drivers/common_texts.h"
#include "drivers/model_card.h"

namespace ulix::range_calibrator {

// One measuring or sourcing function. Its code is its index in the table plus 1.
struct FunctionRow {
  const char* label;
  const char* unit;  // null: the temperature unit
  int resolution;    // decimals
};

// What differs between the models, besides the labels of their settings. All of it must live as long as the program.
struct Model {
  const ModelCard& card;
  const char* identity;  // a word that the identification contains
  HRESULT not_this_model;
  HRESULT range_not_supported;
  std::span<const FunctionRow> functions;
};

template <std::size_t kCount>
constexpr std::array<EnumLabel, kCount> LabelsOf(const std::array<FunctionRow, kCount>& functions) {
  std::array<EnumLabel, kCount> labels{};
  for (std::uint32_t i = 0; i < kCount; ++i) labels[i] = {i + 1, functions[i].label};
  return labels;
}

// The settings that are allowed with the functions of a side. Forms offer only these, and range commands contain them.
struct SideDependences {
  Dependence connection, sensor, cold_junction;
};

inline constexpr std::uint32_t kProgrammedColdJunction = 2;
inline constexpr auto kColdJunctionLabels = std::array{
    EnumLabel{0, "JR_ON"},
    EnumLabel{1, "JR_OFF"},
    EnumLabel{kProgrammedColdJunction, "JR_PROG"},
    EnumLabel{3, "JR_RTD"},
};

inline constexpr auto kUnitLabels = std::array{EnumLabel{0, "CEL"}, EnumLabel{1, "FAR"}, EnumLabel{2, "K"}};

// The shown texts of temperature units, by code. The degree sign is one byte. An unknown code is shown as the first
// unit.
inline constexpr auto kUnitTexts = std::array{kCelsiusText, kFahrenheitText,
                                              "\xB0"
                                              "K"};

// The rows of RangeSettings, in order.
enum SettingIndex {
  kInputFunction,
  kInputConnection,
  kInputSensor,
  kInputColdJunction,
  kInputColdJunctionTemperature,
  kOutputFunction,
  kOutputConnection,
  kOutputSensor,
  kOutputColdJunction,
  kOutputColdJunctionTemperature,
  kTemperatureUnit,
  kSettingCount,
};

// Key and label of each setting of a side, in the order of its rows.
using SideNames = std::array<std::pair<const char*, LocalizedText>, kOutputFunction - kInputFunction>;
inline constexpr SideNames kInputNames = {{
    {"input-function", {"Input function", "Fonction d'entrée"}},
    {"input-connection", {"Input connection", "Raccordement d'entrée"}},
    {"input-sensor", {"Input sensor", "Capteur d'entrée"}},
    {"input-cold-junction", {"Input cold junction", "Jonction de référence d'entrée"}},
    {"input-cold-junction-temperature", {"Input cold-junction temperature", "Température de jonction d'entrée"}},
}};
inline constexpr SideNames kOutputNames = {{
    {"output-function", {"Output function", "Fonction de sortie"}},
    {"output-connection", {"Output connection", "Raccordement de sortie"}},
    {"output-sensor", {"Output sensor", "Capteur de sortie"}},
    {"output-cold-junction", {"Output cold junction", "Jonction de référence de sortie"}},
    {"output-cold-junction-temperature", {"Output cold-junction temperature", "Température de jonction de sortie"}},
}};

// The labels in a model's range commands.
struct RangeLabels {
  std::span<const EnumLabel> functions, connections, sensors;
};

// Makes the rows of one side. They use three stored values from `stored` on: a word of bits, the cold junction, and its
// temperature.
constexpr void PutSideRows(SettingRow* rows, const SideNames& names, int stored, const RangeLabels& labels,
                           const SideDependences& depends) {
  constexpr auto kUi4 = VariantType::kUi4;
  constexpr auto kUi1 = VariantType::kUi1;
  rows[0] = {"", {}, stored, kUi4, 0, 4, labels.functions, 1};
  rows[1] = {"", {}, stored, kUi4, 4, 3, labels.connections, 0, false, &depends.connection};
  rows[2] = {"", {}, stored, kUi4, 7, 5, labels.sensors, 0, false, &depends.sensor};
  rows[3] = {"", {}, stored + 1, kUi1, 0, 8, kColdJunctionLabels, 0, false, &depends.cold_junction};
  rows[4] = {"", {}, stored + 2, VariantType::kR4};
  for (std::size_t i = 0; i < names.size(); ++i) std::tie(rows[i].key, rows[i].label) = names[i];
}

// The settings table: the same settings in every model, with the model's labels.
constexpr std::array<SettingRow, kSettingCount> RangeSettings(const RangeLabels& labels, const SideDependences& input,
                                                              const SideDependences& output) {
  std::array<SettingRow, kSettingCount> rows{};
  PutSideRows(&rows[kInputFunction], kInputNames, 0, labels, input);
  PutSideRows(&rows[kOutputFunction], kOutputNames, 3, labels, output);
  rows[kTemperatureUnit] = {
      "temperature-unit", {"Temperature unit", "Unité de température"}, 6, VariantType::kUi1, 0, 8, kUnitLabels};
  return rows;
}

inline constexpr ChannelId kInChannel = 0;
inline constexpr ChannelId kOutChannel = 1;
inline constexpr auto kChannels = std::array{ChannelRow{"IN", ChanIn}, ChannelRow{"OUT", ChanOut}};

}  // namespace ulix::range_calibrator

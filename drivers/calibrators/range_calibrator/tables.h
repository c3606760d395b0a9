// Calibrators with one measuring and one sourcing range, set by words. What the models of the family have in common;
// what differs is in the Model of each.
#pragma once

#include <array>

#include "drivers/common_texts.h"
#include "drivers/model_card.h"

namespace ulix::range_calibrator {

enum class Quantity { kVoltage, kCurrent, kResistance, kThermocouple, kResistanceThermometer };

// One measuring or sourcing function; its code is its place in the table plus 1.
struct FunctionRow {
  const char* word;
  const char* unit;  // null: the temperature unit
  int resolution;    // decimals
  Quantity quantity;
};

// What differs between the models, beside the words of their settings; all of it lives as long as the program.
struct Model {
  const ModelCard& card;
  const char* identity;  // the word that its identification contains
  HRESULT not_this_model;
  HRESULT range_not_supported;
  std::span<const FunctionRow> functions;
  bool output_has_connection;  // whether current and temperature ranges of the output name one
};

template <std::size_t kCount>
constexpr std::array<EnumLabel, kCount> WordsOf(const std::array<FunctionRow, kCount>& functions) {
  std::array<EnumLabel, kCount> words{};
  for (std::uint32_t i = 0; i < kCount; ++i) words[i] = {i + 1, functions[i].word};
  return words;
}

// What goes with the functions of a side.
struct SideDependences {
  Dependence connection, sensor, cold_junction;
};

inline constexpr std::uint32_t kProgrammedColdJunction = 2;
inline constexpr auto kColdJunctionWords = std::array{
    EnumLabel{0, "JR_ON"},
    EnumLabel{1, "JR_OFF"},
    EnumLabel{kProgrammedColdJunction, "JR_PROG"},
    EnumLabel{3, "JR_RTD"},
};

inline constexpr auto kUnitWords = std::array{EnumLabel{0, "CEL"}, EnumLabel{1, "FAR"}, EnumLabel{2, "K"}};

// How units of temperature are shown, by their code, the degree sign as one byte; any other code shows as the first.
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

// The configuration record: the same fields in every model, with the model's words.
constexpr std::array<SettingRow, kSettingCount> RangeSettings(std::span<const EnumLabel> functions,
                                                              std::span<const EnumLabel> connections,
                                                              std::span<const EnumLabel> sensors,
                                                              const SideDependences& input,
                                                              const SideDependences& output) {
  constexpr auto kUi4 = VariantType::kUi4;
  constexpr auto kUi1 = VariantType::kUi1;
  constexpr auto kR4 = VariantType::kR4;
  return {{
      {"input-function", {"Input function", "Fonction d'entrée"}, 0, kUi4, 0, 4, functions, 1},
      {"input-connection",
       {"Input connection", "Raccordement d'entrée"},
       0,
       kUi4,
       4,
       3,
       connections,
       0,
       false,
       &input.connection},
      {"input-sensor", {"Input sensor", "Capteur d'entrée"}, 0, kUi4, 7, 5, sensors, 0, false, &input.sensor},
      {"input-cold-junction",
       {"Input cold junction", "Jonction de référence d'entrée"},
       1,
       kUi1,
       0,
       8,
       kColdJunctionWords,
       0,
       false,
       &input.cold_junction},
      {"input-cold-junction-temperature",
       {"Input cold-junction temperature", "Température de jonction d'entrée"},
       2,
       kR4},
      {"output-function", {"Output function", "Fonction de sortie"}, 3, kUi4, 0, 4, functions, 1},
      {"output-connection",
       {"Output connection", "Raccordement de sortie"},
       3,
       kUi4,
       4,
       3,
       connections,
       0,
       false,
       &output.connection},
      {"output-sensor", {"Output sensor", "Capteur de sortie"}, 3, kUi4, 7, 5, sensors, 0, false, &output.sensor},
      {"output-cold-junction",
       {"Output cold junction", "Jonction de référence de sortie"},
       4,
       kUi1,
       0,
       8,
       kColdJunctionWords,
       0,
       false,
       &output.cold_junction},
      {"output-cold-junction-temperature",
       {"Output cold-junction temperature", "Température de jonction de sortie"},
       5,
       kR4},
      {"temperature-unit", {"Temperature unit", "Unité de température"}, 6, kUi1, 0, 8, kUnitWords},
  }};
}

inline constexpr ChannelId kInChannel = 0;
inline constexpr ChannelId kOutChannel = 1;
inline constexpr auto kChannels = std::array{ChannelRow{"IN", ChanIn}, ChannelRow{"OUT", ChanOut}};

}  // namespace ulix::range_calibrator

// Kelvo10 process calibrator: what it is, what it can be set to, what can go wrong. Source: the instrument's command
// reference.
#pragma once

#include <array>

#include "drivers/model_card.h"

namespace ulix::kelvo10 {

enum class Family { kVoltage, kCurrent, kResistance, kThermocouple, kResistanceThermometer };

// One measuring or sourcing function; its code is its place in the table plus 1.
struct FunctionRow {
  const char* word;
  const char* unit;  // null: the temperature unit
  int resolution;    // decimals
  Family family;
};

//  RANGE_IN  TC , WIRE2      , TYP_K , CEL  , JR_PROG , 20
//            |    |            |       |      |         programmed cold-junction temperature, with JR_PROG only
//            |    |            |       |      cold junction, TC only
//            |    connection   sensor  unit of TC and RT
//            function
inline constexpr std::array kFunctions = {
    FunctionRow{"V50", "V", 3, Family::kVoltage},
    FunctionRow{"V5", "V", 4, Family::kVoltage},
    // The millivolt ranges report volts.
    FunctionRow{"MV500", "V", 5, Family::kVoltage},
    FunctionRow{"MV50", "V", 6, Family::kVoltage},
    FunctionRow{"V_AUTO", "V", 6, Family::kVoltage},
    FunctionRow{"MA50", "mA", 3, Family::kCurrent},
    FunctionRow{"MA24", "mA", 3, Family::kCurrent},
    FunctionRow{"OHM5000", "Ohm", 1, Family::kResistance},
    FunctionRow{"OHM500", "Ohm", 2, Family::kResistance},
    FunctionRow{"OHM_AUTO", "Ohm", 6, Family::kResistance},
    FunctionRow{"TC", nullptr, 1, Family::kThermocouple},
    FunctionRow{"RT", nullptr, 1, Family::kResistanceThermometer},
};

inline constexpr auto kFunctionWords = [] {
  std::array<CodedWord, kFunctions.size()> words{};
  for (std::uint32_t i = 0; i < words.size(); ++i) words[i] = {i + 1, kFunctions[i].word};
  return words;
}();

inline constexpr std::array kConnectionWords = {
    CodedWord{1, "WIRE2"}, CodedWord{2, "WIRE3"}, CodedWord{3, "WIRE4"}, CodedWord{4, "TXP"},
    CodedWord{5, "TXA"},   CodedWord{6, "TXA24"}, CodedWord{7, "TXA50"},
};

inline constexpr std::array kSensorWords = {
    CodedWord{1, "TYP_K"},       CodedWord{2, "TYP_T"},       CodedWord{3, "TYP_J"},      CodedWord{4, "TYP_E"},
    CodedWord{5, "TYP_N"},       CodedWord{6, "TYP_U"},       CodedWord{7, "TYP_L"},      CodedWord{8, "TYP_S"},
    CodedWord{9, "TYP_R"},       CodedWord{10, "TYP_B"},      CodedWord{11, "TYP_C"},     CodedWord{12, "TYP_PL"},
    CodedWord{13, "TYP_MO"},     CodedWord{14, "TYP_PT50"},   CodedWord{15, "TYP_PT100"}, CodedWord{16, "TYP_PT200"},
    CodedWord{17, "TYP_PT500"},  CodedWord{18, "TYP_PT1000"}, CodedWord{19, "TYP_A3916"}, CodedWord{20, "TYP_A3926"},
    CodedWord{21, "TYP_CU10"},   CodedWord{22, "TYP_CU50"},   CodedWord{23, "TYP_NI100"}, CodedWord{24, "TYP_NI120"},
    CodedWord{25, "TYP_NI1000"},
};

inline constexpr std::uint32_t kProgrammedColdJunction = 2;
inline constexpr std::array kColdJunctionWords = {
    CodedWord{0, "JR_ON"},
    CodedWord{1, "JR_OFF"},
    CodedWord{kProgrammedColdJunction, "JR_PROG"},
    CodedWord{3, "JR_RTD"},
};

inline constexpr std::array kUnitWords = {CodedWord{0, "CEL"}, CodedWord{1, "FAR"}, CodedWord{2, "K"}};

// How units of temperature are shown, by their code, the degree sign as one byte; any other code shows as the first.
inline constexpr std::array kUnitTexts = {
    "\xB0"
    "C",
    "\xB0"
    "F",
    "\xB0"
    "K"};

// The rows below, in order.
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
};

inline constexpr std::array kSettings = {
    SettingRow{
        "input-function", {"Input function", "Fonction d'entrée"}, 0, VariantType::kUi4, 0, 4, kFunctionWords, 1},
    SettingRow{"input-connection",
               {"Input connection", "Raccordement d'entrée"},
               0,
               VariantType::kUi4,
               4,
               3,
               kConnectionWords,
               0},
    SettingRow{"input-sensor", {"Input sensor", "Capteur d'entrée"}, 0, VariantType::kUi4, 7, 5, kSensorWords, 0},
    SettingRow{"input-cold-junction",
               {"Input cold junction", "Jonction de référence d'entrée"},
               1,
               VariantType::kUi1,
               0,
               8,
               kColdJunctionWords,
               0},
    SettingRow{"input-cold-junction-temperature",
               {"Input cold-junction temperature", "Température de jonction d'entrée"},
               2,
               VariantType::kR4,
               0,
               0,
               {},
               0},
    SettingRow{
        "output-function", {"Output function", "Fonction de sortie"}, 3, VariantType::kUi4, 0, 4, kFunctionWords, 1},
    SettingRow{"output-connection",
               {"Output connection", "Raccordement de sortie"},
               3,
               VariantType::kUi4,
               4,
               3,
               kConnectionWords,
               0},
    SettingRow{"output-sensor", {"Output sensor", "Capteur de sortie"}, 3, VariantType::kUi4, 7, 5, kSensorWords, 0},
    SettingRow{"output-cold-junction",
               {"Output cold junction", "Jonction de référence de sortie"},
               4,
               VariantType::kUi1,
               0,
               8,
               kColdJunctionWords,
               0},
    SettingRow{"output-cold-junction-temperature",
               {"Output cold-junction temperature", "Température de jonction de sortie"},
               5,
               VariantType::kR4,
               0,
               0,
               {},
               0},
    SettingRow{
        "temperature-unit", {"Temperature unit", "Unité de température"}, 6, VariantType::kUi1, 0, 8, kUnitWords, 0},
};

inline constexpr ChannelId kInChannel = 0;
inline constexpr ChannelId kOutChannel = 1;
inline constexpr std::array kChannels = {ChannelRow{"IN", ChanIn}, ChannelRow{"OUT", ChanOut}};

inline constexpr std::array kErrors = {
    ErrorRow{kelvo10CtlErrNotKelvo10,
             {"Device connected is not a KELVO10", "L'appareil connecté n'est pas un KELVO10"},
             "NOT_KELVO10",
             3804,
             4804},
    ErrorRow{kelvo10CtlErrHigherKelvo10VerRequired,
             {"Too old KELVO10 Version", "Version trop ancienne du KELVO10"},
             "HIGHER_KELVO10_VER",
             3805,
             4805},
    ErrorRow{kelvo10CtlErrHigherKelvo10CtlVerRequired,
             {"Too old Exploitation Software Version", "Version trop ancienne du logiciel d'exploitation"},
             "HIGHER_KELVO10CTL_VER",
             3806,
             4806},
    ErrorRow{kelvo10CtlErrRgeNotSupported, {"Range not supported", "Calibre non supporté"}, "RGE_NOT_SUPP", 3807, 4807},
};

inline constexpr ModelCard kCard = {
    .word = "kelvo10",
    .class_name = "Kelvo10",
    .class_id = "9D1BBC1A-43DF-4BA0-BFD6-D42A099DBC21",
    .display_name = {"Kelvo10", "Kelvo10"},
    .display_name_id = 2010,
    .config_text = "KELVO10: XXXX_A_IMPLANTER",
    .link = LinkKind::kSerial,
    .expl_key_num = 17,
    .exception_code = kelvo10ErrExceptionCode,
    .channels = kChannels,
    .settings = kSettings,
    .errors = kErrors,
};

}  // namespace ulix::kelvo10

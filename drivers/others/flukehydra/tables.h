// The tables of the Fluke Hydra data bucket, family 2635: model card, channels, settings and errors. Source: the
// instrument's users manual, chapter on computer operation.
#pragma once

#include <array>
#include <span>

#include "drivers/common_texts.h"
#include "drivers/model_card.h"
#include "drivers/numbered_channels.h"

namespace ulix::flukehydra {

inline constexpr std::size_t kChannelCount = 21;

// A range of a function. The instrument sends values in base units; the range determines the unit of the channel.
struct RangeRow {
  double scale;  // factor for the instrument's value
  const char* unit;
  int resolution;  // decimals
};

// One measuring function. Index 0 of its ranges is automatic.
struct FunctionRow {
  std::uint32_t code;
  const char* word;  // in the result of "FUNC?"
  std::span<const RangeRow> ranges;
};

inline constexpr auto kDirectVoltageRanges = std::array{
    RangeRow{1, "V", 6}, RangeRow{1000, "mV", 2}, RangeRow{1, "V", 4},     RangeRow{1, "V", 3},
    RangeRow{1, "V", 2}, RangeRow{1000, "mV", 3}, RangeRow{1000, "mV", 2},
};
inline constexpr auto kAlternatingVoltageRanges = std::array{
    RangeRow{1, "V", 6}, RangeRow{1000, "mV", 2}, RangeRow{1, "V", 4}, RangeRow{1, "V", 3}, RangeRow{1, "V", 2},
};
inline constexpr auto kResistanceRanges = std::array{
    RangeRow{1, "Ohm", 2},         RangeRow{1, "Ohm", 2},      RangeRow{0.001, "kOhm", 4},
    RangeRow{0.001, "kOhm", 3},    RangeRow{0.001, "kOhm", 2}, RangeRow{0.000001, "MOhm", 4},
    RangeRow{0.000001, "MOhm", 3},
};
inline constexpr auto kFrequencyRanges = std::array{
    RangeRow{1, "Hz", 2},      RangeRow{1, "Hz", 2},      RangeRow{0.001, "kHz", 4},
    RangeRow{0.001, "kHz", 3}, RangeRow{0.001, "kHz", 2}, RangeRow{0.000001, "MHz", 4},
};

// The functions whose ranges scale the value. Values of other functions are not scaled.
inline constexpr auto kScaledFunctions = std::array{
    FunctionRow{1, "VDC", kDirectVoltageRanges},
    FunctionRow{2, "VAC", kAlternatingVoltageRanges},
    FunctionRow{3, "OHMS", kResistanceRanges},
    FunctionRow{4, "FREQ", kFrequencyRanges},
};

inline constexpr unsigned kCodeBits = 4;  // bits of a stored function or range
inline constexpr std::uint32_t kGreatestCode = (1U << kCodeBits) - 1;

inline constexpr std::uint32_t kThermocouple = 9;
inline constexpr std::uint32_t kResistanceThermometer = 11;

inline constexpr auto kFunctionLabels = std::array{
    EnumLabel{0, "OFF"},
    EnumLabel{1, "VDC"},
    EnumLabel{2, "VAC"},
    EnumLabel{3, "OHMS"},
    EnumLabel{4, "FREQ"},
    EnumLabel{kThermocouple, "TC"},
    EnumLabel{kResistanceThermometer, "RTD"},
};

// For a thermocouple, the range is its type.
inline constexpr auto kThermocoupleTypes = std::array{
    EnumLabel{1, "J"}, EnumLabel{2, "K"}, EnumLabel{3, "E"}, EnumLabel{4, "T"}, EnumLabel{5, "N"},
    EnumLabel{6, "R"}, EnumLabel{7, "S"}, EnumLabel{8, "B"}, EnumLabel{9, "C"},
};

inline constexpr auto kUnitLabels = std::array{EnumLabel{0, "CEL"}, EnumLabel{1, "FAR"}};
inline constexpr auto kUnitTexts = std::array{kCelsiusText, kFahrenheitText};
inline constexpr int kTemperatureResolution = 2;

inline constexpr auto kSwitchLabels = std::array{EnumLabel{0, "OFF", kOffText}, EnumLabel{1, "ON", kOnText}};
inline constexpr auto kRateLabels =
    std::array{EnumLabel{0, "SLOW", {"slow", "lente"}}, EnumLabel{1, "FAST", {"fast", "rapide"}}};

inline constexpr auto kChannelFields = std::array{
    ChannelField{".function", {": function", " : fonction"}, kCodeBits, kFunctionLabels},
    ChannelField{".range", {": range", " : calibre"}, kCodeBits, {}},
};

// The function and range of each channel come first, then the settings that all channels share.
inline constexpr std::size_t kSharedSettings = 2 * kChannelCount;
enum SharedSetting : std::size_t {
  kTemperatureUnit = kSharedSettings,
  kOpenThermocoupleCheck,
  kRate,
  kInterval,
  kSettingCount,
};
constexpr std::size_t FunctionSetting(ChannelId channel) { return std::size_t{2} * channel; }
constexpr std::size_t RangeSetting(ChannelId channel) { return FunctionSetting(channel) + 1; }

inline constexpr auto kSettings = [] {
  std::array<SettingRow, kSettingCount> rows{};
  PutChannelSettings<kChannelFields, kChannelCount>(rows, 0);
  int stored = kSharedSettings;
  rows[kTemperatureUnit] = {"temperature-unit",
                            {"Temperature unit", "Unité de température"},
                            stored,
                            VariantType::kUi1,
                            0,
                            1,
                            kUnitLabels,
                            0};
  rows[kOpenThermocoupleCheck] = {"open-thermocouple-check",
                                  {"Open thermocouple check", "Détection de thermocouple ouvert"},
                                  stored++,
                                  VariantType::kUi1,
                                  1,
                                  1,
                                  kSwitchLabels,
                                  0};
  rows[kRate] = {"rate", {"Measuring rate", "Vitesse de mesure"}, stored++, VariantType::kUi1, 0, 1, kRateLabels, 0};
  rows[kInterval] = {"interval", {"Scan interval in seconds", "Intervalle de scrutation en secondes"},
                     stored,     VariantType::kUi4,
                     0,          32,
                     {},         0};
  return rows;
}();

inline constexpr auto kChannelNames = NumberTexts<kChannelCount>("CH");
inline constexpr auto kChannels = NumberedInputs(kChannelNames);

inline constexpr auto kErrors = std::array{
    ErrorRow{flukehydraCtlErrNotFlukeHydra,
             {"Device connected is not a Fluke Hydra", "L'appareil connecté n'est pas un Fluke Hydra"},
             "NOT_FLUKE_HYDRA",
             7540},
    ErrorRow{flukehydraCtlErrNack, kNegativeAcknowledge, "NEG_ACKNOWLEDGE", 7541},
    ErrorRow{flukehydraCtlErrOutOfRange, {"Measure out of range", "Mesure hors limites"}, "OUT_OF_RANGE", 7542},
    ErrorRow{flukehydraCtlErrChNum, kInvalidChannelNumber, "CH_NUM", 7543},
    ErrorRow{flukehydraCtlErrNoMeasAvailable, kMeasureNotAvailable, "MEAS_NOT_AVAILABLE", 7544},
    ErrorRow{flukehydraCtlErrCmdSyntaxError,
             {"Command syntax error", "Erreur de syntaxe dans la commande"},
             "CMD_SYNTAX_ERROR",
             7545},
    ErrorRow{flukehydraCtlErrCmdExecError,
             {"Command execution error", "Erreur d'exécution de la commande"},
             "CMD_EXEC_ERROR",
             7546},
    ErrorRow{flukehydraCtlErrOtc, {"Open thermocouple", "Thermocouple ouvert"}, "OPEN_TC", 7547},
};

inline constexpr ModelCard kCard = {
    .model_id = "flukehydra",
    .class_name = "FlukeHydra",
    .display_name = {"Fluke Hydra", "Fluke Hydra"},
    .display_name_id = 2033,
    .config_text = "Fluke Hydra: XXXX_A_IMPLANTER",
    .link = LinkKind::kSerial,
    .expl_key_num = 33,
    .fires_errors = true,
    .exception_code = flukehydraErrExceptionCode,
    .channels = kChannels,
    .settings_home = SettingsHome::kInstrument,
    .settings_can_be_read = true,
    .settings = kSettings,
    .errors = kErrors,
};

}  // namespace ulix::flukehydra

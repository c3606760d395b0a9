// The tables of the microK resistance bridge with its microsKanner scanners, and of the milliK thermometer: model card,
// channels, settings and errors. Source: the instruments' command references.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

#include "drivers/common_texts.h"
#include "drivers/model_card.h"
#include "drivers/numbered_channels.h"

namespace ulix::microk {

// Stored codes. Every code except kMillik means the microK.
enum Model : std::int32_t { kMicrok = 0, kMillik = 1 };

inline constexpr ChannelId kChannelCount = 35;
inline constexpr ChannelId kFrontInputs = 3;

// The instrument's number of a channel: 1 to 3 on its front, and 10 to 17, 20 to 27, 30 to 37 and 40 to 47 on the
// scanners.
constexpr unsigned InstrumentChannel(ChannelId id) {
  constexpr unsigned kScannerInputs = 8;
  if (id < kFrontInputs) return id + 1;
  const unsigned on_scanners = id - kFrontInputs;
  return (on_scanners / kScannerInputs + 1) * 10 + on_scanners % kScannerInputs;
}

consteval auto ChannelNames() {
  std::array<NumberedText, kChannelCount> names{};
  for (ChannelId id = 0; id < kChannelCount; ++id) names[id] = NumberText("CH", InstrumentChannel(id), {});
  return names;
}
inline constexpr auto kChannelNames = ChannelNames();

inline constexpr auto kChannels = NumberedInputs(kChannelNames);

inline constexpr auto kModelLabels = std::array{EnumLabel{kMicrok, "microK"}, EnumLabel{kMillik, "milliK"}};

//  MEAS:TEMP12? IEC60751(4-WIRE) , C    , 115   , NORM
//           |   |                  |      |       |
//           |   sub-kind and wiring unit  range   sense current
//           kind and instrument channel
//  MEAS:TEMP12? TYPE K           , C    , INT        reference junction, of thermocouples and voltages
//  MEAS:TEMP12? 4                , C    , 115 , NORM user probe, by its number in the instrument's database
enum Kind : std::uint32_t { kResistance, kPrt, kVoltage, kThermocouple, kCurrentInput, kNoKind };
inline constexpr auto kKindLabels = std::array{
    EnumLabel{kResistance, "RESISTANCE", {"resistance", "résistance"}},
    EnumLabel{kPrt, "PRT", {"PRT", "sonde platine"}},
    EnumLabel{kVoltage, "VOLTAGE", {"voltage", "tension"}},
    EnumLabel{kThermocouple, "THERMOCOUPLE", {"thermocouple", "thermocouple"}},
    EnumLabel{kCurrentInput, "CURRENT", {"current input", "entrée courant"}},
};

// The conversion of a PRT or of the current input, and the types of thermocouples.
enum SubKind : std::uint32_t { kStandard, kUserProbe, kFirstThermocouple };
inline constexpr auto kSubKindLabels = std::array{
    EnumLabel{kStandard, "STANDARD", {"standard", "normalisée"}},
    EnumLabel{kUserProbe, "USER-PROBE", {"user probe", "sonde utilisateur"}},
    EnumLabel{2, "B"},
    EnumLabel{3, "E"},
    EnumLabel{4, "J"},
    EnumLabel{5, "K"},
    EnumLabel{6, "L"},
    EnumLabel{7, "N"},
    EnumLabel{8, "R"},
    EnumLabel{9, "S"},
    EnumLabel{10, "T"},
    EnumLabel{11, "AU-PT", {"Au-Pt", "Au-Pt"}},
    EnumLabel{12, "PT-PD", {"Pt-Pd", "Pt-Pd"}},
};
inline constexpr auto kThermocoupleLabels = std::span(kSubKindLabels).subspan<kFirstThermocouple>();

inline constexpr std::uint32_t kCelsius = 1;
inline constexpr auto kUnitLabels = std::array{EnumLabel{0, "K"}, EnumLabel{kCelsius, "C"}, EnumLabel{2, "F"}};
// The shown texts of the temperature units, by code.
inline constexpr auto kUnitTexts = std::array{"K", kCelsiusText, kFahrenheitText};

// Ranges in ohms. The resolution of a resistance depends on them.
inline constexpr auto kRangeLabels =
    std::array{EnumLabel{0, "115", {"115 Ohms", "115 Ohms"}}, EnumLabel{1, "460", {"460 Ohms", "460 Ohms"}},
               EnumLabel{2, "500000", {"500 kOhms", "500 kOhms"}}};
inline constexpr auto kRangeResolutions = std::array{5, 4, 1};

inline constexpr auto kCurrentLabels = std::array{EnumLabel{0, "NORM"}, EnumLabel{1, "ROOT2"}};
inline constexpr std::uint32_t kFourWires = 1;
inline constexpr auto kWiringLabels =
    std::array{EnumLabel{0, "3-WIRE", {"3 wires", "3 fils"}}, EnumLabel{kFourWires, "4-WIRE", {"4 wires", "4 fils"}}};
inline constexpr auto kJunctionLabels =
    std::array{EnumLabel{0, "INT", {"internal", "interne"}}, EnumLabel{1, "NON", {"none", "aucune"}}};
inline constexpr auto kEnabledLabels = std::array{EnumLabel{0, "off", kOffText}, EnumLabel{1, "on", kOnText}};

// The settings of one channel, in their stored order.
enum Field { kEnabled, kKind, kSubKind, kUnit, kRange, kCurrent, kWiring, kJunction, kProbe };

inline constexpr unsigned kCodeBits = 8;
inline constexpr auto kFields = std::array{
    ChannelField{".enabled", {": measured", " : mesurée"}, kCodeBits, kEnabledLabels},
    ChannelField{".kind", {": kind of measurement", " : nature de la mesure"}, kCodeBits, kKindLabels, kResistance},
    ChannelField{".sub-kind",
                 {": conversion or thermocouple type", " : conversion ou type de thermocouple"},
                 kCodeBits,
                 kSubKindLabels,
                 kStandard},
    ChannelField{".unit", {": temperature unit", " : unité de température"}, kCodeBits, kUnitLabels, kCelsius},
    ChannelField{".range", {": resistance range", " : calibre de résistance"}, kCodeBits, kRangeLabels},
    ChannelField{".current", {": sense current", " : courant de mesure"}, kCodeBits, kCurrentLabels},
    ChannelField{".wiring", {": wiring", " : raccordement"}, kCodeBits, kWiringLabels, kFourWires},
    ChannelField{".junction", {": reference junction", " : jonction de référence"}, kCodeBits, kJunctionLabels},
    ChannelField{".probe", {": user probe", " : sonde utilisateur"}, 0, {}},
};

constexpr std::size_t SettingIndex(ChannelId id, Field field) {
  return 1 + id * kFields.size() + static_cast<std::size_t>(field);
}
inline constexpr std::size_t kSettingCount = SettingIndex(kChannelCount, kEnabled);

// The model, then the fields of each channel. Each setting is a stored value of its own.
inline constexpr auto kSettings = [] {
  std::array<SettingRow, kSettingCount> rows{};
  rows[0] = {"model", {"Instrument model", "Modèle d'instrument"}, 0, VariantType::kUi4, 0, 32, kModelLabels, kMicrok,
             true};
  PutChannelSettings<kFields, kChannelCount>(rows, SettingIndex(0, kEnabled));
  for (ChannelId id = 0; id < kFrontInputs; ++id) rows[SettingIndex(id, kEnabled)].initial = 1;
  return rows;
}();

inline constexpr auto kErrors = std::array{
    ErrorRow{microkCtlErrNotMicrok,
             {"Device connected is not a MicroK thermometer", "L'appareil connecté n'est pas un thermomètre MicroK"},
             "NOT_MICROK",
             7500,
             7400},
    ErrorRow{microkCtlErrHigherMicrokVerRequired,
             {"Too old MicroK software version", "Version trop ancienne du logiciel du MicroK"},
             "HIGHER_MICROK_VER",
             7501,
             7401},
    ErrorRow{microkCtlErrMeasureNotAvailable, kMeasureNotAvailable, "MEAS_NOT_AVAILABLE", 7502, 7402},
    ErrorRow{microkCtlErrNotMillik,
             {"Device connected is not a MilliK thermometer", "L'appareil connecté n'est pas un thermomètre MilliK"},
             "NOT_MILLIK",
             7503,
             7403},
    ErrorRow{microkCtlErrMeasureTimeout, {"Measure timeout", "Délai de mesure dépassé"}, "MEAS_TIMEOUT", 7504, 7404},
    ErrorRow{
        microkCtlErrChannelNotEnabled, {"Channel not enabled", "Voie non activée"}, "CHAN_NOT_ENABLED", 7505, 7405},
    ErrorRow{microkCtlErrUserProbeNotFound,
             {"User probe not found in the instrument database",
              "Sonde utilisateur non trouvée dans la base de données de l'instrument"},
             "USER_PROBE_NOT_FOUND",
             7506,
             7406},
    ErrorRow{microkCtlErrScpiCmdeError,
             {"A Scpi command was rejected by the instrument", "Une commande Scpi a été rejetée par l'instrument"},
             "SCPI_CMD_ERROR",
             7507,
             7407},
    ErrorRow{microkCtlErrBadInternalChanConfig,
             {"Wrong internal configuration of a channel", "Mauvaise configuration interne d'une voie"},
             "WRONG_CHAN_CONFIG",
             7508,
             7408},
};

inline constexpr ModelCard kCard = {
    .model_id = "microk",
    .class_name = "Microk",
    .display_name = {"MicroK", "MicroK/MilliK"},
    .display_name_id = 2031,
    .config_text = "MICROK: XXXX_A_IMPLANTER",
    .link = LinkKind::kSerial,
    .expl_key_num = 31,
    .fires_errors = true,
    .exception_code = microkErrExceptionCode,
    .channels = kChannels,
    .settings_home = SettingsHome::kSilentInstrument,
    .settings = kSettings,
    .errors = kErrors,
};

}  // namespace ulix::microk

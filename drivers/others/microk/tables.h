// microK resistance bridge with its microsKanner scanners, and milliK thermometer: what they are, what they can be set
// to, what can go wrong. Source: the instruments' command references.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

#include "drivers/model_card.h"
#include "drivers/numbered_text.h"

namespace ulix::microk {

// Stored in the configuration. Anything but the milliK is taken for a microK.
enum Model : std::int32_t { kMicrok = 0, kMillik = 1 };

inline constexpr ChannelId kChannelCount = 35;
inline constexpr ChannelId kFrontInputs = 3;

// The number that the instrument knows a channel by: 1 to 3 on its front, 10 to 17, 20 to 27, 30 to 37 and 40 to 47 on
// the scanners.
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

inline constexpr auto kChannels = [] {
  std::array<ChannelRow, kChannelCount> rows{};
  for (ChannelId id = 0; id < kChannelCount; ++id) rows[id] = {kChannelNames[id].data(), ChanIn};
  return rows;
}();

inline constexpr std::array kModelWords = {CodedWord{kMicrok, "microK"}, CodedWord{kMillik, "milliK"}};

//  MEAS:TEMP12? IEC60751(4-WIRE) , C    , 115   , NORM
//           |   |                  |      |       |
//           |   sub-kind and wiring unit  range   sense current
//           kind and instrument channel
//  MEAS:TEMP12? TYPE K           , C    , INT        reference junction, of thermocouples and voltages
//  MEAS:TEMP12? 4                , C    , 115 , NORM user probe, by its number in the instrument's database
enum Kind : std::uint32_t { kResistance, kPrt, kVoltage, kThermocouple, kCurrentInput, kNoKind };
inline constexpr std::array kKindWords = {
    CodedWord{kResistance, "RESISTANCE"}, CodedWord{kPrt, "PRT"},
    CodedWord{kVoltage, "VOLTAGE"},       CodedWord{kThermocouple, "THERMOCOUPLE"},
    CodedWord{kCurrentInput, "CURRENT"},
};

// What a PRT or the current input is converted by, and the types of thermocouples.
enum SubKind : std::uint32_t { kStandard, kUserProbe, kFirstThermocouple };
inline constexpr std::array kSubKindWords = {
    CodedWord{kStandard, "STANDARD"},
    CodedWord{kUserProbe, "USER-PROBE"},
    CodedWord{2, "B"},
    CodedWord{3, "E"},
    CodedWord{4, "J"},
    CodedWord{5, "K"},
    CodedWord{6, "L"},
    CodedWord{7, "N"},
    CodedWord{8, "R"},
    CodedWord{9, "S"},
    CodedWord{10, "T"},
    CodedWord{11, "AU-PT"},
    CodedWord{12, "PT-PD"},
};
inline constexpr auto kThermocoupleWords = std::span(kSubKindWords).subspan<kFirstThermocouple>();

inline constexpr std::uint32_t kCelsius = 1;
inline constexpr std::array kUnitWords = {CodedWord{0, "K"}, CodedWord{kCelsius, "C"}, CodedWord{2, "F"}};
// How they are shown, the degree sign as one byte.
inline constexpr std::array kUnitTexts = {"K",
                                          "\xB0"
                                          "C",
                                          "\xB0"
                                          "F"};

// In ohms. The resolution of a resistance goes with them.
inline constexpr std::array kRangeWords = {CodedWord{0, "115"}, CodedWord{1, "460"}, CodedWord{2, "500000"}};
inline constexpr std::array kRangeResolutions = {5, 4, 1};

inline constexpr std::array kCurrentWords = {CodedWord{0, "NORM"}, CodedWord{1, "ROOT2"}};
inline constexpr std::uint32_t kFourWires = 1;
inline constexpr std::array kWiringWords = {CodedWord{0, "3-WIRE"}, CodedWord{kFourWires, "4-WIRE"}};
inline constexpr std::array kJunctionWords = {CodedWord{0, "INT"}, CodedWord{1, "NON"}};
inline constexpr std::array kEnabledWords = {CodedWord{0, "off"}, CodedWord{1, "on"}};

// The settings of one channel, in their stored order.
enum Field { kEnabled, kKind, kSubKind, kUnit, kRange, kCurrent, kWiring, kJunction, kProbe };

struct FieldRow {
  const char* key;  // behind "channel.12"
  const char* label_en;
  const char* label_fr;
  std::span<const CodedWord> words;  // empty for a text
  std::uint32_t initial;
};

inline constexpr std::array kFields = {
    FieldRow{".enabled", ": measured", ": mesurée", kEnabledWords, 0},
    FieldRow{".kind", ": kind of measurement", ": nature de la mesure", kKindWords, kResistance},
    FieldRow{".sub-kind", ": conversion or thermocouple type", ": conversion ou type de thermocouple", kSubKindWords,
             kStandard},
    FieldRow{".unit", ": temperature unit", ": unité de température", kUnitWords, kCelsius},
    FieldRow{".range", ": resistance range", ": calibre de résistance", kRangeWords, 0},
    FieldRow{".current", ": sense current", ": courant de mesure", kCurrentWords, 0},
    FieldRow{".wiring", ": wiring", ": raccordement", kWiringWords, kFourWires},
    FieldRow{".junction", ": reference junction", ": jonction de référence", kJunctionWords, 0},
    FieldRow{".probe", ": user probe", ": sonde utilisateur", {}, 0},
};

// One for each channel of each field: "channel.12.kind".
consteval auto FieldTexts(std::string_view before, const char* FieldRow::*after) {
  std::array<std::array<NumberedText, kChannelCount>, kFields.size()> texts{};
  for (std::size_t i = 0; i < kFields.size(); ++i) texts[i] = NumberTexts<kChannelCount>(before, kFields[i].*after);
  return texts;
}
inline constexpr auto kKeys = FieldTexts("channel.", &FieldRow::key);
inline constexpr auto kLabelsEn = FieldTexts("Channel ", &FieldRow::label_en);
inline constexpr auto kLabelsFr = FieldTexts("Voie ", &FieldRow::label_fr);

constexpr std::size_t SettingIndex(ChannelId id, Field field) {
  return 1 + id * kFields.size() + static_cast<std::size_t>(field);
}
inline constexpr std::size_t kSettingCount = SettingIndex(kChannelCount, kEnabled);

// The model, then the fields of each channel; every one is a stored value of its own.
inline constexpr auto kSettings = [] {
  std::array<SettingRow, kSettingCount> rows{};
  rows[0] = {"model", {"Instrument model", "Modèle d'instrument"}, 0, VariantType::kUi4, 0, 32, kModelWords, kMicrok,
             true};
  for (ChannelId id = 0; id < kChannelCount; ++id) {
    for (std::size_t i = 0; i < kFields.size(); ++i) {
      const std::size_t index = SettingIndex(id, static_cast<Field>(i));
      const Words label = {kLabelsEn[i][id].data(), kLabelsFr[i][id].data()};
      const bool is_text = kFields[i].words.empty();
      rows[index] = {kKeys[i][id].data(),
                     label,
                     static_cast<int>(index),
                     is_text ? VariantType::kBstr : VariantType::kUi1,
                     0,
                     is_text ? 0U : 8U,
                     kFields[i].words,
                     static_cast<double>(kFields[i].initial)};
    }
    if (id < kFrontInputs) rows[SettingIndex(id, kEnabled)].initial = 1;
  }
  return rows;
}();

inline constexpr std::array kErrors = {
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
    ErrorRow{microkCtlErrMeasureNotAvailable,
             {"Measure not available", "Mesure non disponible"},
             "MEAS_NOT_AVAILABLE",
             7502,
             7402},
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
    .word = "microk",
    .class_name = "Microk",
    .class_id = "C907E9AB-E202-4E18-B2D1-7F151F5DA718",
    .display_name = {"MicroK", "MicroK/MilliK"},
    .display_name_id = 2031,
    .config_text = "MICROK: XXXX_A_IMPLANTER",
    .link = LinkKind::kSerial,
    .expl_key_num = 31,
    .fires_errors = true,
    .exception_code = microkErrExceptionCode,
    .channels = kChannels,
    .settings = kSettings,
    .errors = kErrors,
};

}  // namespace ulix::microk

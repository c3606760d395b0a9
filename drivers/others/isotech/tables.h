// The tables of the Isotech dry-block and bath calibrators: model card, channels, settings and errors. Source: the
// controllers' communication manuals.
#pragma once

#include <array>

#include "drivers/common_texts.h"
#include "drivers/model_card.h"

namespace ulix::isotech {

// The protocol of the controller. Stored codes.
enum Model : std::uint32_t {
  kAddressed = 0,  // frames with an address and a checksum
  kObject = 1,     // set points go to an object of the host; nothing is sent on the line
  kLine = 2,       // frames that begin with STX and end in CR LF
};
inline constexpr auto kModelLabels = std::array{
    EnumLabel{kAddressed, "addressed", {"addressed frames", "trames adressées"}},
    EnumLabel{kObject, "object", {"object of the host", "objet de l'hôte"}},
    EnumLabel{kLine, "line", {"lines of text", "lignes de texte"}},
};

// What Run does. Stored codes.
enum StartMode : std::uint32_t {
  kSendSetPoint = 1,
  kSwitchOutputOn = 2,  // kLine only
};
inline constexpr auto kStartModeLabels = std::array{
    EnumLabel{kSendSetPoint, "set-point", {"send the set point", "envoyer la consigne"}},
    EnumLabel{kSwitchOutputOn, "output-on", {"switch the output on", "activer la sortie"}},
};

inline constexpr std::uint32_t kHighestAddress = 99;

// The rows of kSettings, in order.
enum SettingIndex { kModel, kAddress, kStartMode, kStartSetPoint };

inline constexpr auto kSettings = std::array{
    SettingRow{
        "model", {"Protocol model", "Modèle de protocole"}, 0, VariantType::kUi4, 0, 32, kModelLabels, kAddressed},
    SettingRow{"address", {"Controller address", "Adresse du régulateur"}, 1, VariantType::kUi4, 0, 32, {}, 0},
    SettingRow{"start-mode",
               {"Start mode", "Mode de démarrage"},
               2,
               VariantType::kUi4,
               0,
               32,
               kStartModeLabels,
               kSendSetPoint},
    // In whole degrees Celsius.
    SettingRow{
        "start-set-point", {"Start set point", "Consigne de démarrage"}, 3, VariantType::kUi4, 0, 32, {}, 0, true},
};

inline constexpr ChannelId kSetPointChannel = 0;
inline constexpr auto kChannels = std::array{ChannelRow{"SETPOINT", ChanOut, kCelsiusText, 1}};

inline constexpr auto kErrors = std::array{
    ErrorRow{isotechCtlErrNotIsotech,
             {"Device connected is not an Isotech", "L'appareil connecté n'est pas un Isotech"},
             "NOT_ISOTECH",
             3700},
    // Deliberate: spelt as published.
    ErrorRow{isotechCtlErrNack, kNegativeAcknowledge, "NEG_ACKNOLEDGE", 3701},
    ErrorRow{isotechCtlErrOutOfRange, kSetPointOutOfRange, "OUT_OF_RANGE", 3702},
};

inline constexpr ModelCard kCard = {
    .model_id = "isotech",
    .class_name = "Isotech",
    .display_name = {"Isotech", "Isotech"},
    .display_name_id = 2007,
    .config_text = "ISOTECH: XXXX_A_IMPLANTER",
    .link = LinkKind::kSerial,
    .expl_key_num = 21,
    .fires_errors = true,
    .exception_code = isotechErrExceptionCode,
    .channels = kChannels,
    .has_identification = false,
    .settings = kSettings,
    .errors = kErrors,
};

}  // namespace ulix::isotech

// The tables of the Kambic calibration baths, series OB: model card, channels and errors. Source: the bath's
// communication manual.
#pragma once

#include <array>

#include "drivers/common_texts.h"
#include "drivers/model_card.h"

namespace ulix::kambic {

// The identification contains one of these words, in upper case, with or without a hyphen.
inline constexpr std::array<const char*, 6> kModelNames = {"OB7", "OB22", "OB50", "OB-7", "OB-22", "OB-50"};

// In the answer to "TXD" a channel's number follows its key, up to a blank or the end of its line:
//
//  T= 25.012 CR TSET= 30.000 CR LF
//     |               |
//     temperature     set point
inline constexpr ChannelId kTemperatureChannel = 0;
inline constexpr ChannelId kSetPointChannel = 1;
inline constexpr std::array<const char*, 2> kKeys = {"T=", "TSET="};
// Set points and readings have three decimals.
inline constexpr int kResolution = 3;
inline constexpr auto kChannels = std::array{ChannelRow{"TEMPERATURE", ChanIn, kCelsiusText, kResolution},
                                             ChannelRow{"SETPOINT", ChanIO, kCelsiusText, kResolution}};

inline constexpr auto kErrors = std::array{
    ErrorRow{kambicCtlErrNotKambic,
             {"Device connected is not a KAMBIC", "L'appareil connecté n'est pas un KAMBIC"},
             "NOT_KAMBIC",
             7580},
    ErrorRow{kambicCtlErrOutOfRange, kSetPointOutOfRange, "OUT_OF_RANGE", 7581},
    ErrorRow{kambicCtlErrChNum, kInvalidChannelNumber, "CH_NUM", 7582},
    ErrorRow{
        kambicCtlErrBadCmde, {"Command refused by the device", "Commande refusée par l'appareil"}, "BAD_CMDE", 7583},
    ErrorRow{kambicCtlErrBadResp,
             {"Incorrect answer from the device", "Réponse incorrecte de l'appareil"},
             "BAD_RESP",
             7584},
};

inline constexpr ModelCard kCard = {
    .model_id = "kambic",
    .class_name = "Kambic",
    .display_name = {"Kambic", "Kambic"},
    .display_name_id = 2029,
    .config_text = "KAMBIC: XXXX_A_IMPLANTER",
    .link = LinkKind::kSerial,
    .expl_key_num = 36,
    .fires_errors = true,
    .exception_code = kambicErrExceptionCode,
    .channels = kChannels,
    .settings = {},
    .errors = kErrors,
};

}  // namespace ulix::kambic

// The tables of NewClass: model card, settings and errors. Source: the command reference of the instrument.
#pragma once

#include <array>

#include "drivers/model_card.h"

namespace ulix::new_model {

//  RATE FAST
//       |
//       measuring rate
inline constexpr auto kRateLabels = std::array{EnumLabel{0, "SLOW"}, EnumLabel{1, "FAST"}};

// The rows below, in order.
enum SettingIndex { kRate };

inline constexpr auto kSettings = std::array{
    SettingRow{"rate", {"Measuring rate", "Cadence de mesure"}, 0, VariantType::kUi1, 0, 8, kRateLabels, 0},
};

inline constexpr ChannelId kInChannel = 0;
inline constexpr auto kChannels = std::array{ChannelRow{"IN", ChanIn, "V", 4}};

inline constexpr auto kErrors = std::array{
    ErrorRow{new_modelCtlErrNotNewClass,
             {"Device connected is not a NEW_MODEL", "L'appareil connecté n'est pas un NEW_MODEL"},
             "NOT_NEW_MODEL",
             NEW_LONG_ID,
             NEW_SHORT_ID},
};

inline constexpr ModelCard kCard = {
    .model_id = "new_model",
    .class_name = "NewClass",
    .display_name = {"NewClass", "NewClass"},
    .display_name_id = NEW_NAME_ID,
    .config_text = "NEW_MODEL",
    .link = LinkKind::kSerial,
    .expl_key_num = NEW_KEY_NUMBER,
    .exception_code = new_modelErrExceptionCode,
    .channels = kChannels,
    .settings = kSettings,
    .errors = kErrors,
};

}  // namespace ulix::new_model

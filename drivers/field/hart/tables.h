// The tables of the HART interface unit: model card, channels and errors. Source: the unit's command reference.
#pragma once

#include <array>
#include <string_view>

#include "drivers/common_texts.h"
#include "drivers/model_card.h"

namespace ulix::hart {

inline constexpr ChannelId kTemperatureChannel = 0;
inline constexpr ChannelId kSetPointChannel = 1;
// The unit accepts set points with two decimals.
inline constexpr auto kChannels =
    std::array{ChannelRow{"TEMPERATURE", ChanIn, kCelsiusText, 2}, ChannelRow{"SETPOINT", ChanIO, kCelsiusText, 2}};

// The unit names in replies. A reply without one is in degrees Celsius.
struct UnitRow {
  std::string_view symbol;
  const char* text;
};
inline constexpr auto kUnits = std::array{UnitRow{"C", kCelsiusText}, UnitRow{"F", kFahrenheitText}, UnitRow{"K", "K"}};
inline constexpr auto kUnitSymbols = std::array{kUnits[0].symbol, kUnits[1].symbol, kUnits[2].symbol};

inline constexpr auto kErrors = std::array{
    ErrorRow{hartCtlErrNotHart,
             {"Device connected is not a HART", "L'appareil connecté n'est pas un HART"},
             "NOT_HART",
             3600},
    ErrorRow{hartCtlErrNack, kNegativeAcknowledge, "NEG_ACKNOWLEDGE", 3601},
    ErrorRow{hartCtlErrOutOfRange, kSetPointOutOfRange, "OUT_OF_RANGE", 3602},
    ErrorRow{hartCtlErrChNum, kInvalidChannelNumber, "CH_NUM", 3603},
};

inline constexpr ModelCard kCard = {
    .model_id = "hart",
    .class_name = "Hart",
    .display_name = {"Hart", "Hart"},
    .display_name_id = 2032,
    .config_text = "HART: XXXX_A_IMPLANTER",
    .link = LinkKind::kSerial,
    .expl_key_num = 23,
    .fires_errors = true,
    .exception_code = hartErrExceptionCode,
    .channels = kChannels,
    .has_identification = false,
    .units_with_readings = true,
    .errors = kErrors,
};

}  // namespace ulix::hart

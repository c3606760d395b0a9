// The tables of the AMETEK Jofra dry-block calibrators, series RTC, PTC and CTC: model card, channels, settings and
// errors. Source: the instruments' remote control manuals.
#pragma once

#include <array>
#include <span>

#include "drivers/common_texts.h"
#include "drivers/model_card.h"

namespace ulix::jofrartcptc {

// The place of a channel in the answer to the reading query: indexes of fields, from 0.
struct ChannelPlace {
  const char* name;
  std::size_t value;
  std::size_t unit;  // kNoField: degrees Celsius
};
inline constexpr std::size_t kNoField = ~std::size_t{0};

// A channel's id is its index in the table of the series.
inline constexpr auto kRtcPlaces = std::array{
    ChannelPlace{"TRUE TEMPERATURE", 5, kNoField},
    ChannelPlace{"SENSOR TEMPERATURE", 15, kNoField},
    ChannelPlace{"TARGET TEMPERATURE", 24, kNoField},
};
//  INT. REF.   TARGET      EXT. REF.       SENSOR
//  23.12, CEL, 50.00, CEL, 49.98, CEL, 1,  50.03, CEL
inline constexpr auto kCtcPlaces = std::array{
    ChannelPlace{"EXT. REF. SENSOR TEMPERATURE", 4, 5},
    ChannelPlace{"SENSOR TEMPERATURE", 7, 8},
    ChannelPlace{"TARGET TEMPERATURE", 2, 3},
    ChannelPlace{"INT. REF. TEMPERATURE", 0, 1},
};
inline constexpr ChannelId kTargetChannel = 2;  // in every series
inline constexpr const char* kUnknownChannel = "(UNKNOWN/UNSUPPORTED INPUT !?)";

// A command and its expected answer; null: the command has no answer.
struct Step {
  const char* command;
  const char* answer;
};

inline constexpr auto kRtcLogOn = std::array{
    Step{"LogOn", "<CallResponse TelegramValue`1>"},
    Step{"Isloggedon?", "<GetResponse Isloggedon True>"},
};
inline constexpr auto kRtcLeave = std::array{Step{"LogOff", "<CallResponse LogOff>"}, Step{"ascii-", nullptr}};
inline constexpr auto kCtcPrelude = std::array{Step{"*CLS", nullptr}};
inline constexpr auto kCtcLogOn = std::array{Step{"REMOTE", nullptr}, Step{"REMOTE_MODE?", "REMOTE"}};
inline constexpr auto kCtcLeave = std::array{Step{"LOCAL", nullptr}};

// What differs between the series.
struct Dialect {
  std::span<const Step> prelude;
  const char* identify;
  const char* identification_start;
  HRESULT not_this;  // the code for another instrument
  std::span<const Step> log_on;
  std::span<const Step> leave;
  const char* readings;
  const char* separators;  // between the fields of answers
  std::span<const ChannelPlace> channels;
  const char* set_point;         // the query
  const char* set_point_answer;  // the answer to the command; null: none
};

inline constexpr Dialect kRtc = {
    .prelude = {},
    .identify = "CalibratorDevice?",
    .identification_start = "<",
    .not_this = jofrartcptcCtlErrNotJofraRtcPtc,
    .log_on = kRtcLogOn,
    .leave = kRtcLeave,
    .readings = "LiveSensors?",
    .separators = " \t",
    .channels = kRtcPlaces,
    .set_point = "Settemperature?",
    .set_point_answer = "<SetResponse SETTemperature>",
};
inline constexpr Dialect kCtc = {
    .prelude = kCtcPrelude,
    .identify = "*IDN?",
    .identification_start = "JOFRA",
    .not_this = jofrartcptcCtlErrNotJofraCtc,
    .log_on = kCtcLogOn,
    .leave = kCtcLeave,
    .readings = "READINGS?",
    .separators = ", ",
    .channels = kCtcPlaces,
    .set_point = "SETTEMP?",
    .set_point_answer = nullptr,
};

inline constexpr std::uint32_t kRtcPtcModel = 0;
inline constexpr std::uint32_t kCtcModel = 1;
inline constexpr auto kModelLabels = std::array{EnumLabel{kRtcPtcModel, "RTC/PTC"}, EnumLabel{kCtcModel, "CTC"}};

inline constexpr auto kSettings = std::array{
    SettingRow{"model", {"Model", "Modèle"}, 0, VariantType::kUi4, 0, 1, kModelLabels, kRtcPtcModel},
};

// The channels of the CTC have the names of the RTC and PTC where both have them.
inline constexpr auto kChannels = std::array{
    ChannelRow{kRtcPlaces[0].name, ChanIn, kCelsiusText, 2},
    ChannelRow{kRtcPlaces[1].name, ChanIn, kCelsiusText, 2},
    ChannelRow{kRtcPlaces[2].name, ChanIO, kCelsiusText, 2},
    ChannelRow{kCtcPlaces[3].name, ChanIn, kCelsiusText, 2},
};

inline constexpr auto kErrors = std::array{
    ErrorRow{jofrartcptcCtlErrNotJofraRtcPtc,
             {"Device connected is not a JOFRA RTC/PTC", "L'appareil connecté n'est pas un JOFRA RTC/PTC"},
             "NOT_JOFRA_RTC_PTC",
             7560},
    ErrorRow{jofrartcptcCtlErrNack, kNegativeAcknowledge, "NEG_ACKNOWLEDGE", 7561},
    ErrorRow{jofrartcptcCtlErrOutOfRange, kSetPointOutOfRange, "OUT_OF_RANGE", 7562},
    ErrorRow{jofrartcptcCtlErrChNum, kInvalidChannelNumber, "CH_NUM", 7563},
    ErrorRow{jofrartcptcCtlErrNoMeasAvailable, kMeasureNotAvailable, "MEAS_NOT_AVAILABLE", 7564},
    ErrorRow{jofrartcptcCtlErrNotJofraCtc,
             {"Device connected is not a JOFRA CTC", "L'appareil connecté n'est pas un JOFRA CTC"},
             "NOT_JOFRA_CTC",
             7565},
};

inline constexpr ModelCard kCard = {
    .model_id = "jofrartcptc",
    .class_name = "JofraRtcPtc",
    .display_name = {"Jofra RTC/PTC", "Jofra RTC/PTC"},
    .display_name_id = 2034,
    .config_text = "Ametek JOFRA RTC/PTC: XXXX_A_IMPLANTER",
    .link = LinkKind::kSerial,
    .expl_key_num = 34,
    .fires_errors = true,
    .exception_code = jofrartcptcErrExceptionCode,
    .channels = kChannels,
    .settings = kSettings,
    .errors = kErrors,
};

}  // namespace ulix::jofrartcptc

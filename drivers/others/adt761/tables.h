// The tables of the Additel ADT761 pressure calibrator: model card, channels, settings and errors. Source: the
// calibrator's communication protocol.
#pragma once

#include <array>

#include "drivers/model_card.h"

namespace ulix::adt761 {

// What Connect does. Stored codes; every code except kInstrument means kPortOnly.
enum LinkMode : std::uint32_t {
  kPortOnly = 0,    // opens the port and sends nothing
  kInstrument = 1,  // also identifies the instrument
};
inline constexpr auto kLinkModeLabels = std::array{
    EnumLabel{kPortOnly, "port-only", {"port only", "port seul"}},
    EnumLabel{kInstrument, "instrument", {"instrument", "instrument"}},
};

// The rows of kSettings, in order.
enum SettingIndex { kLinkMode, kFramePrefix };

inline constexpr auto kSettings = std::array{
    SettingRow{
        "link-mode", {"Link mode", "Mode de liaison"}, 0, VariantType::kUi4, 0, 32, kLinkModeLabels, kInstrument},
    // The byte that precedes every frame.
    SettingRow{"frame-prefix", {"Frame prefix", "Préfixe de trame"}, 1, VariantType::kUi1, 0, 8, {}, 1},
};

// The quantity of a unit or of a measured item.
enum class Quantity { kNone, kVoltage, kSwitch, kCurrent, kPressure };

// An item that can be measured, with its word in the answer to ":R:MITEM".
struct Item {
  const char* word;
  Quantity quantity;
  const char* pressure_query;
  const char* display;
};
inline constexpr auto kItems = std::array{
    Item{"MA", Quantity::kCurrent, ":R:EPMVALUE", "current"},
    Item{"V", Quantity::kVoltage, ":R:EPMVALUE", "voltage"},
    Item{"SW", Quantity::kSwitch, ":R:EPMVALUE", "switch test"},
    Item{"HPM", Quantity::kPressure, ":R:HPMVALUE", "high range pressure"},
    Item{"LPM", Quantity::kPressure, ":R:LPMVALUE", "low range pressure"},
    Item{"EPM", Quantity::kPressure, ":R:EPMVALUE", "(external) pressure module"},
    Item{"HART", Quantity::kNone, ":R:EPMVALUE", "HART module"},
};

// An item without a row.
inline constexpr Item kOtherItem = {"", Quantity::kNone, ":R:EPMVALUE", "another item"};

// A unit, with its word in answers.
struct Unit {
  const char* word;
  const char* display;
  Quantity quantity;
};
inline constexpr auto kUnits = std::array{
    Unit{"PA", "Pa", Quantity::kPressure},       Unit{"KPA", "kPa", Quantity::kPressure},
    Unit{"MPA", "MPa", Quantity::kPressure},     Unit{"PSI", "psi", Quantity::kPressure},
    Unit{"BAR", "bar", Quantity::kPressure},     Unit{"MBAR", "mbar", Quantity::kPressure},
    Unit{"INHG", "inHg", Quantity::kPressure},   Unit{"HG", "mmHg", Quantity::kPressure},
    Unit{"INH2O", "inH2O", Quantity::kPressure}, Unit{"H2O", "mmH2O", Quantity::kPressure},
    Unit{"KGF", "kgf/cm2", Quantity::kPressure}, Unit{"HPA", "hPa", Quantity::kPressure},
    Unit{"MA", "mA", Quantity::kCurrent},        Unit{"V", "V", Quantity::kVoltage},
    Unit{"S", "s", Quantity::kSwitch},
};

// A unit without a row, or one of another quantity than the channel's: a switch test may be reported in volts.
inline constexpr Unit kNoUnit = {"", "", Quantity::kNone};

// How a channel is read.
enum class AnswerForm {
  kMeasured,  // the last two fields are value and unit
  kNamed,     // field 2 repeats the item, field 3 is the value
  kSecond,    // field 2 is the value
};

// The query that precedes the query of a channel.
enum class FirstAsk { kNothing, kMeasuredItem, kSourcedItem };
inline constexpr const char* kMeasuredItemQuery = ":R:MITEM";
inline constexpr const char* kSourcedItemQuery = ":R:SITEM";

struct Channel {
  FirstAsk first;
  const char* query;  // null: that of the measured item
  AnswerForm form;
  Quantity quantity;  // kNone: any
  const char* unit;   // until an answer names another one
  int resolution;
};

//  :F:HPMVALUE:700.25:KPA      :F:SMAPOWER:1               :F:250.00
//     item      value unit        item     value              value
inline constexpr ChannelId kPressureChannel = 3;
inline constexpr ChannelId kAtmosphereChannel = 4;
inline constexpr ChannelId kSetPointChannel = 9;
inline constexpr std::array<Channel, 10> kReadings = {
    Channel{FirstAsk::kMeasuredItem, ":R:MVAL", AnswerForm::kMeasured, Quantity::kVoltage, "V", 5},
    Channel{FirstAsk::kMeasuredItem, ":R:MVAL", AnswerForm::kMeasured, Quantity::kSwitch, "", 5},
    Channel{FirstAsk::kMeasuredItem, ":R:MVAL", AnswerForm::kMeasured, Quantity::kCurrent, "mA", 5},
    Channel{FirstAsk::kMeasuredItem, nullptr, AnswerForm::kMeasured, Quantity::kPressure, "", 5},
    Channel{FirstAsk::kMeasuredItem, ":R:OATMO", AnswerForm::kMeasured, Quantity::kPressure, "", 5},
    Channel{FirstAsk::kSourcedItem, ":R:SMAVALUE", AnswerForm::kMeasured, Quantity::kCurrent, "mA", 3},
    Channel{FirstAsk::kNothing, ":R:SMAPOWER", AnswerForm::kNamed, Quantity::kNone, "", 0},
    Channel{FirstAsk::kNothing, ":R:O24POWER", AnswerForm::kNamed, Quantity::kNone, "", 0},
    Channel{FirstAsk::kNothing, ":R:ORUNKIND", AnswerForm::kNamed, Quantity::kNone, "", 0},
    Channel{FirstAsk::kSourcedItem, ":R:CSV", AnswerForm::kSecond, Quantity::kPressure, "", 2},
};

inline constexpr auto kChannels = std::array{
    ChannelRow{"VOLTAGE", ChanIn},     ChannelRow{"SWITCH", ChanIn},     ChannelRow{"CURRENT", ChanIn},
    ChannelRow{"PRESSURE", ChanIn},    ChannelRow{"ATMOSPHERE", ChanIO}, ChannelRow{"SOURCE", ChanIO},
    ChannelRow{"SOURCEPOWER", ChanIO}, ChannelRow{"LOOPPOWER", ChanIO},  ChannelRow{"RUNKIND", ChanIn},
    ChannelRow{"SETPOINT", ChanIO},
};
static_assert(kReadings.size() == kChannels.size());

// How a channel is set: a command that ends in the value, and the start of its acknowledgement.
struct Write {
  ChannelId channel;
  const char* before;  // a command sent before it; null: none
  const char* before_answer;
  const char* command;
  int decimals;  // decimals of the value; 0: a switch, sent as 0 for 0 and as 1 for any other value
  const char* answer;
};
inline constexpr auto kWrites = std::array{
    // A write vents; a read gives the atmospheric pressure.
    Write{kAtmosphereChannel, nullptr, nullptr, ":W:CVENT:", 0, ":F:CVENT:OK"},
    Write{5, nullptr, nullptr, ":W:SMAVAL:", 3, ":F:SMAVAL:OK"},
    Write{6, nullptr, nullptr, ":W:SMAPOWER:", 0, ":F:SMAPOWER:OK"},
    Write{7, nullptr, nullptr, ":W:O24POWER:", 0, ":F:O24POWER:OK"},
    Write{kSetPointChannel, ":W:OIPMUNIT:1", ":F:OIPMUNIT:OK", ":W:CSV:", 2, ":F:CSV:OK"},
};

inline constexpr auto kErrors = std::array{
    ErrorRow{adt761CtlErrNotAdt761,
             {"Device connected is not an Adt761 calibrator", "L'appareil connecté n'est pas un calibrateur Adt761"},
             "NOT_ADT761",
             8670,
             7670},
    ErrorRow{adt761CtlErrNack, {"Negative acknowledge", "Acquittement négatif"}, "NEG_ACKNOWLEDGE", 8671, 7671},
    ErrorRow{adt761CtlErrOutOfRange,
             {"The parameter or set point is out of range", "Le paramètre ou la consigne est hors limites"},
             "OUT_OF_RANGE",
             8672,
             7672},
    ErrorRow{adt761CtlErrChNum, {"Invalid channel number", "Numéro de voie incorrect"}, "WRONG_CHAN_NUM", 8673, 7673},
    ErrorRow{adt761CtlErrNoMeasAvailable,
             {"No measure available", "Pas de mesure disponible"},
             "NO_MEAS_AVAILABLE",
             8674,
             7674},
};

inline constexpr ModelCard kCard = {
    .model_id = "adt761",
    .class_name = "Adt761",
    .display_name = {"ADT761", "ADT761"},
    .display_name_id = 2036,
    .config_text = "Additel ADT761: XXXX_A_IMPLANTER",
    .link = LinkKind::kSerial,
    .expl_key_num = 38,
    .fires_errors = true,
    .exception_code = adt761ErrExceptionCode,
    .channels = kChannels,
    .units_with_readings = true,
    .settings = kSettings,
    .errors = kErrors,
};

}  // namespace ulix::adt761

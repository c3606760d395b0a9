// The tables of the CMX310 calibrator: model card, channels, settings and errors. Source: the instrument's command
// reference.
#pragma once

#include <array>

#include "drivers/calibrators/range_calibrator/tables.h"

namespace ulix::cmx310 {

using range_calibrator::FunctionRow;

//  RANGE_IN   RT , WIRE3      , TYP_PT100 , CEL
//  RANGE_OUT  TC              , TYP_K     , CEL  , JR_PROG , 20
//             |    |            |           |      |         programmed cold-junction temperature, with JR_PROG only
//             |    |            |           |      cold junction, TC only
//             |    |            sensor      unit of TC and RT
//             |    connection, of inputs only
//             function
inline constexpr auto kFunctions = std::array{
    FunctionRow{"V50", "V", 3},
    FunctionRow{"V30", "V", 3},
    FunctionRow{"V5", "V", 4},
    // The millivolt ranges report volts.
    FunctionRow{"MV500", "V", 5},
    FunctionRow{"MV50", "V", 6},
    FunctionRow{"V_AUTO", "V", 6},
    FunctionRow{"MA50", "mA", 3},
    FunctionRow{"MA24", "mA", 3},
    FunctionRow{"OHM5000", "Ohm", 1},
    FunctionRow{"OHM500", "Ohm", 2},
    FunctionRow{"OHM_AUTO", "Ohm", 6},
    FunctionRow{"TC", nullptr, 1},
    FunctionRow{"RT", nullptr, 1},
};

inline constexpr auto kFunctionLabels = range_calibrator::LabelsOf(kFunctions);

inline constexpr auto kConnectionLabels = std::array{
    EnumLabel{1, "WIRE2"},
    EnumLabel{2, "WIRE3"},
    EnumLabel{3, "TXP"},
    EnumLabel{4, "TXA"},
};

inline constexpr auto kSensorLabels = std::array{
    EnumLabel{1, "TYP_K"},       EnumLabel{2, "TYP_T"},      EnumLabel{3, "TYP_J"},      EnumLabel{4, "TYP_E"},
    EnumLabel{5, "TYP_N"},       EnumLabel{6, "TYP_U"},      EnumLabel{7, "TYP_L"},      EnumLabel{8, "TYP_S"},
    EnumLabel{9, "TYP_R"},       EnumLabel{10, "TYP_B"},     EnumLabel{11, "TYP_C"},     EnumLabel{12, "TYP_PL"},
    EnumLabel{13, "TYP_MO"},     EnumLabel{14, "TYP_PT100"}, EnumLabel{15, "TYP_PT200"}, EnumLabel{16, "TYP_PT500"},
    EnumLabel{17, "TYP_PT1000"},
};

// Which connections, sensors and cold junctions are allowed with which functions. A thermocouple needs no connection.
inline constexpr CodeRange kCurrents{7, 8}, kResistances{9, 11}, kThermocouple{12, 12}, kThermometer{13, 13};
inline constexpr CodeRange kWires{1, 2}, kNoneOrWires{0, 2}, kTransmitters{3, 4};
inline constexpr auto kInputConnections =
    std::array{Dependence::Row{kCurrents, kTransmitters}, Dependence::Row{kResistances, kWires},
               Dependence::Row{kThermocouple, kNoneOrWires}, Dependence::Row{kThermometer, kWires}};
inline constexpr auto kSensors =
    std::array{Dependence::Row{kThermocouple, {1, 13}}, Dependence::Row{kThermometer, {14, 17}}};
inline constexpr auto kColdJunctions = std::array{Dependence::Row{kThermocouple, {0, 3}}};

inline constexpr range_calibrator::SideDependences kOfInput = {
    {"input-function", kInputConnections}, {"input-function", kSensors}, {"input-function", kColdJunctions}};
inline constexpr range_calibrator::SideDependences kOfOutput = {
    {"output-function", {}}, {"output-function", kSensors}, {"output-function", kColdJunctions}};
inline constexpr auto kSettings =
    range_calibrator::RangeSettings({kFunctionLabels, kConnectionLabels, kSensorLabels}, kOfInput, kOfOutput);

inline constexpr auto kErrors = std::array{
    ErrorRow{cmx310CtlErrNotCmx310,
             {"Device connected is not a CMX310", "L'appareil connecté n'est pas un CMX310"},
             "NOT_CMX310",
             3800},
    ErrorRow{cmx310CtlErrHigherCmx310VerRequired,
             {"Too old CMX310 Version", "Version trop ancienne du CMX310"},
             "HIGHER_CMX310_VER",
             3801},
    ErrorRow{cmx310CtlErrHigherCmx310CtlVerRequired,
             {"Too old Exploitation Software Version", "Version trop ancienne du logiciel d'exploitation"},
             "HIGHER_CMX310CTL_VER",
             3802},
    ErrorRow{cmx310CtlErrRgeNotSupported, {"Range not supported", "Calibre non supporté"}, "RGE_NOT_SUPP", 3803},
};

inline constexpr ModelCard kCard = {
    .model_id = "cmx310",
    .class_name = "Cmx310",
    .display_name = {"CMX310", "CMX310"},
    .display_name_id = 2009,
    .config_text = "CMX310: XXXX_A_IMPLANTER",
    .link = LinkKind::kSerial,
    .expl_key_num = 16,
    .exception_code = cmx310ErrExceptionCode,
    .channels = range_calibrator::kChannels,
    .settings_home = SettingsHome::kInstrument,
    .settings_can_be_read = true,
    .settings_can_be_sent = true,
    .settings = kSettings,
    .errors = kErrors,
};

inline constexpr range_calibrator::Model kModel = {
    .card = kCard,
    .identity = "CMX310",
    .not_this_model = cmx310CtlErrNotCmx310,
    .range_not_supported = cmx310CtlErrRgeNotSupported,
    .functions = kFunctions,
};

}  // namespace ulix::cmx310

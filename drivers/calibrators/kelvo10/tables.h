// The tables of the Kelvo10 process calibrator: model card, channels, settings and errors. Source: the instrument's
// command reference.
#pragma once

#include <array>

#include "drivers/calibrators/range_calibrator/tables.h"

namespace ulix::kelvo10 {

using range_calibrator::FunctionRow;

//  RANGE_IN  TC , WIRE2      , TYP_K , CEL  , JR_PROG , 20
//            |    |            |       |      |         programmed cold-junction temperature, with JR_PROG only
//            |    |            |       |      cold junction, TC only
//            |    connection   sensor  unit of TC and RT
//            function
inline constexpr auto kFunctions = std::array{
    FunctionRow{"V50", "V", 3},
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
    EnumLabel{1, "WIRE2"}, EnumLabel{2, "WIRE3"}, EnumLabel{3, "WIRE4"}, EnumLabel{4, "TXP"},
    EnumLabel{5, "TXA"},   EnumLabel{6, "TXA24"}, EnumLabel{7, "TXA50"},
};

inline constexpr auto kSensorLabels = std::array{
    EnumLabel{1, "TYP_K"},       EnumLabel{2, "TYP_T"},       EnumLabel{3, "TYP_J"},      EnumLabel{4, "TYP_E"},
    EnumLabel{5, "TYP_N"},       EnumLabel{6, "TYP_U"},       EnumLabel{7, "TYP_L"},      EnumLabel{8, "TYP_S"},
    EnumLabel{9, "TYP_R"},       EnumLabel{10, "TYP_B"},      EnumLabel{11, "TYP_C"},     EnumLabel{12, "TYP_PL"},
    EnumLabel{13, "TYP_MO"},     EnumLabel{14, "TYP_PT50"},   EnumLabel{15, "TYP_PT100"}, EnumLabel{16, "TYP_PT200"},
    EnumLabel{17, "TYP_PT500"},  EnumLabel{18, "TYP_PT1000"}, EnumLabel{19, "TYP_A3916"}, EnumLabel{20, "TYP_A3926"},
    EnumLabel{21, "TYP_CU10"},   EnumLabel{22, "TYP_CU50"},   EnumLabel{23, "TYP_NI100"}, EnumLabel{24, "TYP_NI120"},
    EnumLabel{25, "TYP_NI1000"},
};

// Which connections, sensors and cold junctions are allowed with which functions. A thermocouple needs no connection.
inline constexpr CodeRange kCurrents{6, 7}, kResistances{8, 10}, kThermocouple{11, 11}, kThermometer{12, 12};
inline constexpr CodeRange kWires{1, 3}, kNoneOrWires{0, 3}, kTransmitters{4, 7};
inline constexpr auto kInputConnections =
    std::array{Dependence::Row{kCurrents, kTransmitters}, Dependence::Row{kResistances, kWires},
               Dependence::Row{kThermocouple, kNoneOrWires}, Dependence::Row{kThermometer, kWires}};
inline constexpr auto kOutputConnections =
    std::array{Dependence::Row{kCurrents, kTransmitters}, Dependence::Row{kThermocouple, kNoneOrWires},
               Dependence::Row{kThermometer, kWires}};
inline constexpr auto kSensors =
    std::array{Dependence::Row{kThermocouple, {1, 13}}, Dependence::Row{kThermometer, {14, 25}}};
inline constexpr auto kColdJunctions = std::array{Dependence::Row{kThermocouple, {0, 3}}};

inline constexpr range_calibrator::SideDependences kOfInput = {
    {"input-function", kInputConnections}, {"input-function", kSensors}, {"input-function", kColdJunctions}};
inline constexpr range_calibrator::SideDependences kOfOutput = {
    {"output-function", kOutputConnections}, {"output-function", kSensors}, {"output-function", kColdJunctions}};
inline constexpr auto kSettings =
    range_calibrator::RangeSettings({kFunctionLabels, kConnectionLabels, kSensorLabels}, kOfInput, kOfOutput);

inline constexpr auto kErrors = std::array{
    ErrorRow{kelvo10CtlErrNotKelvo10,
             {"Device connected is not a KELVO10", "L'appareil connecté n'est pas un KELVO10"},
             "NOT_KELVO10",
             3804},
    ErrorRow{kelvo10CtlErrHigherKelvo10VerRequired,
             {"Too old KELVO10 Version", "Version trop ancienne du KELVO10"},
             "HIGHER_KELVO10_VER",
             3805},
    ErrorRow{kelvo10CtlErrHigherKelvo10CtlVerRequired,
             {"Too old Exploitation Software Version", "Version trop ancienne du logiciel d'exploitation"},
             "HIGHER_KELVO10CTL_VER",
             3806},
    ErrorRow{kelvo10CtlErrRgeNotSupported, {"Range not supported", "Calibre non supporté"}, "RGE_NOT_SUPP", 3807},
};

inline constexpr ModelCard kCard = {
    .model_id = "kelvo10",
    .class_name = "Kelvo10",
    .display_name = {"Kelvo10", "Kelvo10"},
    .display_name_id = 2010,
    .config_text = "KELVO10: XXXX_A_IMPLANTER",
    .link = LinkKind::kSerial,
    .expl_key_num = 17,
    .exception_code = kelvo10ErrExceptionCode,
    .channels = range_calibrator::kChannels,
    .settings_home = SettingsHome::kInstrument,
    .settings_can_be_read = true,
    .settings_can_be_sent = true,
    .settings = kSettings,
    .errors = kErrors,
};

inline constexpr range_calibrator::Model kModel = {
    .card = kCard,
    .identity = "KELVO10",
    .not_this_model = kelvo10CtlErrNotKelvo10,
    .range_not_supported = kelvo10CtlErrRgeNotSupported,
    .functions = kFunctions,
};

}  // namespace ulix::kelvo10

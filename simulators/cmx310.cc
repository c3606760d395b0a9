#include "simulators/cmx310.h"

namespace ulix {
namespace {

using namespace range_takes;

// Outputs have no connection.
constexpr unsigned kSourcedThermocouple = kSensorAndUnit | kColdJunction;
constexpr unsigned kMeasuredThermocouple = kConnectionIfGiven | kSourcedThermocouple;
constexpr unsigned kMeasuredThermometer = kConnection | kSensorAndUnit;

constexpr RangeFunction kCmx310Functions[] = {
    {"V50", kNothing, kNothing, 3, "V"},
    {"V30", kNothing, kNothing, 3, "V"},
    {"V5", kNothing, kNothing, 4, "V"},
    {"MV500", kNothing, kNothing, 5, "V"},
    {"MV50", kNothing, kNothing, 6, "V"},
    {"V_AUTO", kNothing, kNothing, 6, "V"},
    {"MA50", kConnection, kNothing, 3, "mA"},
    {"MA24", kConnection, kNothing, 3, "mA"},
    {"OHM5000", kConnection, kNothing, 1, "Ohm"},
    {"OHM500", kConnection, kNothing, 2, "Ohm"},
    {"OHM_AUTO", kConnection, kNothing, 6, "Ohm"},
    {"TC", kMeasuredThermocouple, kSourcedThermocouple, 1, ""},
    {"RT", kMeasuredThermometer, kSensorAndUnit, 1, ""},
};

constexpr std::string_view kCmx310Connections[] = {"WIRE2", "WIRE3", "TXP", "TXA"};
constexpr std::string_view kCmx310Sensors[] = {"TYP_K",  "TYP_T",     "TYP_J",     "TYP_E",     "TYP_N",     "TYP_U",
                                               "TYP_L",  "TYP_S",     "TYP_R",     "TYP_B",     "TYP_C",     "TYP_PL",
                                               "TYP_MO", "TYP_PT100", "TYP_PT200", "TYP_PT500", "TYP_PT1000"};
constexpr RangeCalibratorTables kCmx310Tables{"ULIX,CMX310,310042,V1.30", kCmx310Functions, kCmx310Connections,
                                              kCmx310Sensors};

}  // namespace

Cmx310Simulator::Cmx310Simulator(Clock& clock) : RangeCalibratorSimulator(kCmx310Tables, clock) {}

std::unique_ptr<Simulator> cmx310::MakeSimulator(Clock& clock) { return std::make_unique<Cmx310Simulator>(clock); }

}  // namespace ulix

#include "simulators/kelvo10.h"

namespace ulix {
namespace {

using namespace range_takes;

constexpr unsigned kThermocouple = kConnectionIfGiven | kSensorAndUnit | kColdJunction;
constexpr unsigned kResistanceThermometer = kConnection | kSensorAndUnit;

constexpr RangeFunction kKelvo10Functions[] = {
    {"V50", kNothing, kNothing, 3, "V"},         {"V5", kNothing, kNothing, 4, "V"},
    {"MV500", kNothing, kNothing, 5, "V"},       {"MV50", kNothing, kNothing, 6, "V"},
    {"V_AUTO", kNothing, kNothing, 6, "V"},      {"MA50", kConnection, kConnection, 3, "mA"},
    {"MA24", kConnection, kConnection, 3, "mA"}, {"OHM5000", kConnection, kNothing, 1, "Ohm"},
    {"OHM500", kConnection, kNothing, 2, "Ohm"}, {"OHM_AUTO", kConnection, kNothing, 6, "Ohm"},
    {"TC", kThermocouple, kThermocouple, 1, ""}, {"RT", kResistanceThermometer, kResistanceThermometer, 1, ""},
};

constexpr std::string_view kKelvo10Connections[] = {"WIRE2", "WIRE3", "WIRE4", "TXP", "TXA", "TXA24", "TXA50"};
constexpr std::string_view kKelvo10Sensors[] = {
    "TYP_K",     "TYP_T",     "TYP_J",    "TYP_E",    "TYP_N",     "TYP_U",     "TYP_L",     "TYP_S",     "TYP_R",
    "TYP_B",     "TYP_C",     "TYP_PL",   "TYP_MO",   "TYP_PT50",  "TYP_PT100", "TYP_PT200", "TYP_PT500", "TYP_PT1000",
    "TYP_A3916", "TYP_A3926", "TYP_CU10", "TYP_CU50", "TYP_NI100", "TYP_NI120", "TYP_NI1000"};
constexpr RangeCalibratorTables kKelvo10Tables{"ULIX,KELVO10,123456,V2.10", kKelvo10Functions, kKelvo10Connections,
                                               kKelvo10Sensors};

}  // namespace

Kelvo10Simulator::Kelvo10Simulator(Clock& clock) : RangeCalibratorSimulator(kKelvo10Tables, clock) {}

std::unique_ptr<Simulator> kelvo10::MakeSimulator(Clock& clock) { return std::make_unique<Kelvo10Simulator>(clock); }

}  // namespace ulix

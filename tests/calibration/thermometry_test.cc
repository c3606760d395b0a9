#include "calibration/thermometry.h"

#include <gtest/gtest.h>

#include <cmath>

#include "calibration/plan_sensor.h"
#include "calibration/thermocouples.h"

namespace ulix::calibration {
namespace {

struct FixedPoint {
  const char* name;
  double kelvin;
  double ratio;
};

// The fixed points of the scale. An error in any coefficient of the reference function changes at least one of these
// rows.
constexpr FixedPoint kFixedPoints[] = {
    {"e-H2", 13.8033, 0.00119007}, {"Ne", 24.5561, 0.00844974},  {"O2", 54.3584, 0.09171804},
    {"Ar", 83.8058, 0.21585975},   {"Hg", 234.3156, 0.84414211}, {"H2O", 273.16, 1},
    {"Ga", 302.9146, 1.11813889},  {"In", 429.7485, 1.60980185}, {"Sn", 505.078, 1.89279768},
    {"Zn", 692.677, 2.56891730},   {"Al", 933.473, 3.37600860},  {"Ag", 1234.93, 4.28642053}};

TEST(Its90, EachFixedPoint_HasTheRatioOfTheScale) {
  for (const FixedPoint& point : kFixedPoints) {
    EXPECT_NEAR(Its90ReferenceRatio(point.kelvin).value(), point.ratio, 5.1e-9) << point.name;
  }
}

TEST(Its90, RatioThereAndBack_IsExactToAMicrokelvin) {
  for (double kelvin = 13.8033; kelvin <= 1234.93; kelvin += 0.37) {
    EXPECT_NEAR(Its90Kelvin(*Its90ReferenceRatio(kelvin)).value(), kelvin, 1e-9);
  }
}

TEST(Its90, ValuesOutsideTheScale_AreRefused) {
  EXPECT_FALSE(Its90ReferenceRatio(13.8));
  EXPECT_FALSE(Its90ReferenceRatio(1235));
  EXPECT_FALSE(Its90ReferenceRatio(NAN));
  EXPECT_FALSE(Its90Kelvin(4.287));
  EXPECT_FALSE(Its90Kelvin(-1));
}

// A thermometer whose own ratios at the fixed points are made from its deviation function by hand.
TEST(StandardThermometer, OwnFixedPoints_GiveTheirTemperatures) {
  const Its90Deviation above{.sub_range = Its90SubRange::kWaterToSilver,
                             .a = -2.1e-4,
                             .b = 3.2e-5,
                             .c = -4e-6,
                             .d = 2e-5,
                             .aluminium_ratio = 3.3755};
  const Its90Deviation below{.sub_range = Its90SubRange::kArgonToWater, .a = -2.4e-4, .b = 1.1e-5};
  const auto probe = StandardThermometer::Make(25.5, below, above).value();
  const double silver = 4.28;  // W, of which Wr follows directly
  const double x = silver - 1;
  const double deviation = -2.1e-4 * x + 3.2e-5 * x * x - 4e-6 * x * x * x + 2e-5 * std::pow(silver - 3.3755, 2);
  EXPECT_NEAR(probe.Celsius(25.5 * silver).value() + 273.15, Its90Kelvin(silver - deviation).value(), 1e-9);
  const double argon = 0.2161;
  const double low = -2.4e-4 * (argon - 1) + 1.1e-5 * (argon - 1) * std::log(argon);
  EXPECT_NEAR(probe.Celsius(25.5 * argon).value() + 273.15, Its90Kelvin(argon - low).value(), 1e-9);
  EXPECT_NEAR(probe.Celsius(25.5).value(), 0.01, 2e-6) << "the scale's two functions meet within 1e-8";
}

TEST(StandardThermometer, ThereAndBack_IsExactToAMicrokelvin) {
  const auto probe = StandardThermometer::Make(25.5, Its90Deviation{Its90SubRange::kArgonToWater, -2.4e-4, 1.1e-5},
                                               Its90Deviation{Its90SubRange::kWaterToZinc, -2.1e-4, 3.2e-5})
                         .value();
  for (double celsius = -189.34; celsius <= 419.527; celsius += 0.31) {
    EXPECT_NEAR(probe.Celsius(*probe.Ohms(celsius)).value(), celsius, 1e-6);
  }
  EXPECT_FALSE(probe.Ohms(419.6));
  EXPECT_FALSE(probe.Ohms(-189.4));
}

TEST(StandardThermometer, WhatIsNoPlatinum_IsRefused) {
  const Its90Deviation zinc{.sub_range = Its90SubRange::kWaterToZinc, .a = -2.1e-4};
  const Its90Deviation wild{.sub_range = Its90SubRange::kWaterToZinc, .a = -2.1};
  const Its90Deviation argon{.sub_range = Its90SubRange::kArgonToWater, .a = -2.1e-4};
  EXPECT_FALSE(StandardThermometer::Make(0, std::nullopt, zinc));
  EXPECT_FALSE(StandardThermometer::Make(25.5, std::nullopt, std::nullopt));
  EXPECT_FALSE(StandardThermometer::Make(25.5, std::nullopt, wild));
  EXPECT_FALSE(StandardThermometer::Make(25.5, zinc, std::nullopt));
  EXPECT_FALSE(StandardThermometer::Make(25.5, std::nullopt, argon));
}

TEST(CallendarVanDusen, StandardCoefficients_GiveTheTableOfTheStandard) {
  constexpr double kTable[][2] = {{-200, 18.5201}, {-100, 60.2558}, {-50, 80.3063},  {0, 100},        {50, 119.3971},
                                  {100, 138.5055}, {200, 175.8560}, {400, 247.0920}, {600, 313.7080}, {850, 390.4811}};
  for (const auto& [celsius, ohms] : kTable) {
    EXPECT_NEAR(CallendarVanDusen().Ohms(celsius).value(), ohms, 5.1e-5) << celsius;
  }
}

TEST(CallendarVanDusen, IndividualCoefficients_AreUsed) {
  const CallendarVanDusen probe{.r0 = 100.0189, .a = 3.913e-3, .b = -6.056e-7, .c = 1.372e-12};
  EXPECT_NEAR(probe.Ohms(12.4).value(), 104.86262358516764, 1e-13);
}

TEST(CallendarVanDusen, ThereAndBack_IsExactToAMicrokelvin) {
  const CallendarVanDusen probe;
  for (double celsius = -200; celsius <= 850; celsius += 0.13) {
    EXPECT_NEAR(probe.Celsius(*probe.Ohms(celsius)).value(), celsius, 1e-9);
  }
}

struct Emf {
  ThermocoupleType type;
  double celsius;
  double millivolts;
};

constexpr Emf kEmfs[] = {
    {ThermocoupleType::kK, -200, -5.891}, {ThermocoupleType::kK, -100, -3.554}, {ThermocoupleType::kK, 100, 4.096},
    {ThermocoupleType::kK, 300, 12.209},  {ThermocoupleType::kK, 500, 20.644},  {ThermocoupleType::kK, 1000, 41.276},
    {ThermocoupleType::kK, 1372, 54.886}, {ThermocoupleType::kN, -200, -3.990}, {ThermocoupleType::kN, 100, 2.774},
    {ThermocoupleType::kN, 900, 32.371},  {ThermocoupleType::kN, 1300, 47.513}, {ThermocoupleType::kJ, -210, -8.095},
    {ThermocoupleType::kJ, 500, 27.393},  {ThermocoupleType::kJ, 760, 42.919},  {ThermocoupleType::kJ, 1200, 69.553},
    {ThermocoupleType::kT, -200, -5.603}, {ThermocoupleType::kT, -150, -4.648}, {ThermocoupleType::kT, 100, 4.279},
    {ThermocoupleType::kT, 400, 20.872},  {ThermocoupleType::kE, -200, -8.825}, {ThermocoupleType::kE, 700, 53.112},
    {ThermocoupleType::kE, 1000, 76.373}, {ThermocoupleType::kR, -50, -0.226},  {ThermocoupleType::kR, 1000, 10.506},
    {ThermocoupleType::kR, 1600, 18.849}, {ThermocoupleType::kR, 1768, 21.101}, {ThermocoupleType::kS, -50, -0.236},
    {ThermocoupleType::kS, 1000, 9.587},  {ThermocoupleType::kS, 1400, 14.373}, {ThermocoupleType::kS, 1768, 18.693},
    {ThermocoupleType::kB, 100, 0.033},   {ThermocoupleType::kB, 1200, 6.786},  {ThermocoupleType::kB, 1820, 13.820}};

TEST(Thermocouple, EachType_GivesTheTableOfTheStandard) {
  for (const Emf& row : kEmfs) {
    EXPECT_NEAR(ThermocoupleMillivolts(row.type, row.celsius).value(), row.millivolts, 5.1e-4) << row.celsius;
  }
}

TEST(Thermocouple, ThereAndBack_IsExactToAMillikelvin) {
  constexpr double kRanges[][2] = {{250, 1820},  {-270, 1000}, {-210, 1200},  {-270, 1372},
                                   {-270, 1300}, {-50, 1768},  {-50, 1768.1}, {-270, 400}};
  for (std::size_t k = 0; k < std::size(kRanges); ++k) {
    const auto type = static_cast<ThermocoupleType>(k);
    for (double celsius = kRanges[k][0]; celsius <= kRanges[k][1]; celsius += 0.9) {
      EXPECT_NEAR(ThermocoupleCelsius(type, *ThermocoupleMillivolts(type, celsius)).value(), celsius, 1e-4) << k;
    }
  }
}

TEST(Thermocouple, AReferenceJunction_CountsByItsVoltage) {
  EXPECT_NEAR(ThermocoupleCelsius(ThermocoupleType::kK, 4.096, 25).value(), 124.310, 5e-4);
  EXPECT_NEAR(ThermocoupleMillivolts(ThermocoupleType::kK, 124.310, 25).value(), 4.096, 5e-5);
}

TEST(Thermocouple, ValuesOutsideATypesRange_AreRefused) {
  EXPECT_FALSE(ThermocoupleMillivolts(ThermocoupleType::kK, 1372.5));
  EXPECT_FALSE(ThermocoupleCelsius(ThermocoupleType::kK, 55));
  EXPECT_FALSE(ThermocoupleCelsius(ThermocoupleType::kK, NAN));
  EXPECT_FALSE(ThermocoupleCelsius(ThermocoupleType::kB, 0.29)) << "two temperatures for one voltage";
  EXPECT_TRUE(ThermocoupleCelsius(ThermocoupleType::kB, 0.291));
  EXPECT_FALSE(ThermocoupleCelsius(ThermocoupleType::kR, 1, -60)) << "the junction is out of range";
}

TEST(Sensor, TextsOfSensors_GiveTheirFunctions) {
  EXPECT_NEAR(Sensor::Parse("Pt100")->Celsius(138.5055).value(), 100, 1e-6);
  EXPECT_NEAR(Sensor::Parse("pt1000")->Electrical(100).value(), 1385.055, 1e-6);
  EXPECT_NEAR(Sensor::Parse("k:junction=25")->Celsius(4.096).value(), 124.310, 5e-4);
  EXPECT_NEAR(Sensor::Parse("cvd:r0=100.0189, A=3.913e-3,b=-6.056e-7,c=1.372e-12")->Electrical(12.4).value(),
              104.86262358516764, 1e-12);
  const auto standard =
      Sensor::Parse("its90:r=25.5,range=zinc,a=-2.1e-4,b=3.2e-5,low-range=argon,low-a=-2.4e-4,low-b=1e-5");
  EXPECT_NEAR(standard->Celsius(25.5).value(), 0.01, 2e-6);
  EXPECT_NEAR(Sensor::Parse("pt100")->Sensitivity(0).value(), 0.39083, 1e-7);
  EXPECT_NEAR(Sensor::Parse("pt100")->Sensitivity(850).value(), 100 * (3.9083e-3 - 2 * 5.775e-7 * 850), 1e-6);
}

TEST(Sensor, MistakesInATextOfASensor_AreRefused) {
  for (const char* text :
       {"", "pt101", "X", "KK", "pt100:junction=25", "K:junction", "K:junction=hot", "K:junction=2000", "cvd:r0=0",
        "cvd:r0=100,r0=100", "cvd:a=1", "its90:r=25.5", "its90:r=25.5,range=gold", "its90:r=25.5,range=zinc,a=1e-4,c=1",
        "its90:range=zinc,a=1e-4"}) {
    EXPECT_FALSE(Sensor::Parse(text)) << text;
  }
  EXPECT_EQ(Sensor::Parse("K:junction=hot").error().en, "sensor 'k': junction=hot is no number");
  EXPECT_EQ(Sensor::Parse("K:junction=hot").error().fr, "capteur 'k' : junction=hot n'est pas un nombre");
}

TEST(ToTemperature, UnitsOfInstruments_AreTaken) {
  const SensorSpec pt100{.type = "pt100"};
  EXPECT_NEAR(ToTemperature(pt100, 138.5055, "Ohms").value(), 100, 1e-6);
  EXPECT_NEAR(ToTemperature(pt100, 0.1385055, "kΩ").value(), 100, 1e-6);
  EXPECT_NEAR(ToTemperature(pt100, 138.5055, "").value(), 100, 1e-6);
  EXPECT_FALSE(ToTemperature(pt100, 138.5055, "mV"));
  const SensorSpec k{.type = "K", .junction = 25};
  EXPECT_NEAR(ToTemperature(k, 4.096e-3, "V").value(), 124.310, 5e-4);
  EXPECT_NEAR(ToTemperature(k, 4.09623, "mV", 0).value(), 100, 1e-3)
      << "a measured junction takes the place of the planned";
  EXPECT_EQ(ToTemperature({}, 12.5, "°C").value(), 12.5);
}

TEST(SensorOf, StandardThermometerOfAPlan_HasBothRanges) {
  const SensorSpec spec{.type = "its90",
                        .rtpw = 25.5,
                        .subrange = "argon+zinc",
                        .coefficients = {{"a", -2.1e-4}, {"b", 3.2e-5}, {"low-a", -2.4e-4}, {"low-b", 1e-5}}};
  EXPECT_TRUE(SensorOf(spec)->Electrical(-180));
  EXPECT_TRUE(SensorOf(spec)->Electrical(400));
  const SensorSpec low{.type = "its90", .rtpw = 25.5, .subrange = "argon", .coefficients = {{"a", -2.4e-4}}};
  EXPECT_FALSE(SensorOf(low)->Electrical(1));
  EXPECT_TRUE(SensorOf(low)->Electrical(-1));
}

}  // namespace
}  // namespace ulix::calibration

// Platinum resistance thermometers: the international temperature scale of 1990 (ITS-90) for standard thermometers, the
// Callendar-Van Dusen equation (IEC 60751) for industrial ones. Temperatures are in degrees Celsius unless a name says
// kelvin, resistances in ohms. A value outside a range fails and is never extrapolated. Pure functions, safe on any
// thread.
#pragma once

#include <optional>

#include "calibration/problem.h"
#include "calibration/rising_function.h"

namespace ulix::calibration {

inline constexpr double kCelsiusZeroInKelvin = 273.15;
inline constexpr double kWaterTriplePointInKelvin = 273.16;

// The reference function Wr of ITS-90: the resistance ratio R(T)/R(273.16 K) of ideal platinum, from 13.8033 K to
// 1234.93 K. Source of the coefficients: H. Preston-Thomas, "The International Temperature Scale of 1990",
// Metrologia 27 (1990), equations 9a and 10a.
Result<double> Its90ReferenceRatio(double kelvin);
// The inverse, in kelvin, exact to the rounding of a double. The approximate inverse functions of the scale are not
// used.
Result<double> Its90Kelvin(double reference_ratio);

// The supported sub-ranges, each with its limits and its deviation function.
enum class Its90SubRange {
  kArgonToWater,      // 83.8058 K to 273.16 K: a(W-1) + b(W-1)ln W
  kMercuryToGallium,  // 234.3156 K to 29.7646 C: a(W-1) + b(W-1)^2
  kWaterToGallium,    // 0 C to 29.7646 C: a(W-1)
  kWaterToIndium,     // 0 C to 156.5985 C: a(W-1)
  kWaterToTin,        // 0 C to 231.928 C: a(W-1) + b(W-1)^2
  kWaterToZinc,       // 0 C to 419.527 C: the same
  kWaterToAluminium,  // 0 C to 660.323 C: and c(W-1)^3
  kWaterToSilver,     // 0 C to 961.78 C: and, above aluminium, d(W-W(660.323 C))^2
};

// The deviation function of one sub-range, from the certificate of a standard thermometer. Coefficients that the
// function does not have are 0.
struct Its90Deviation {
  Its90SubRange sub_range = Its90SubRange::kWaterToZinc;
  double a = 0;
  double b = 0;
  double c = 0;
  double d = 0;
  double aluminium_ratio = 0;  // W at 660.323 C, for kWaterToSilver

  // W - Wr at the thermometer's own ratio W.
  double At(double ratio) const;
};

// A standard thermometer: its resistance at the triple point of water, and one deviation function below it, above it,
// or both.
class StandardThermometer {
 public:
  // Fails for a resistance that is not positive, for no deviation function or two on the same side, and for
  // coefficients that platinum cannot have (a deviation above 0.01 at W = 2, or one that changes faster than a tenth of
  // W).
  static Result<StandardThermometer> Make(double triple_point_ohms, std::optional<Its90Deviation> below,
                                          std::optional<Its90Deviation> above);

  Result<double> Celsius(double ohms) const;
  Result<double> Ohms(double celsius) const;
  double min_celsius() const;
  double max_celsius() const;

 private:
  StandardThermometer(double ohms, std::optional<Its90Deviation> below, std::optional<Its90Deviation> above)
      : triple_point_ohms_(ohms), below_(below), above_(above) {}
  const Its90Deviation& DeviationFor(bool below_triple_point) const;

  double triple_point_ohms_;
  std::optional<Its90Deviation> below_;
  std::optional<Its90Deviation> above_;
};

// R = r0 (1 + a t + b t^2 + c (t - 100) t^3), the last term below 0 C only. The defaults are those of IEC 60751:2022
// with 100 ohms. From -200 C to 850 C.
struct CallendarVanDusen {
  double r0 = 100;
  double a = 3.9083e-3;
  double b = -5.775e-7;
  double c = -4.183e-12;

  static constexpr double kMinCelsius = -200;
  static constexpr double kMaxCelsius = 850;

  // The problem of the coefficients, if any: r0 must be positive, and the resistance must rise in the whole range.
  std::optional<Problem> Fault() const;
  Result<double> Ohms(double celsius) const;
  Result<double> Celsius(double ohms) const;
};

}  // namespace ulix::calibration

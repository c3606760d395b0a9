// Uncertainty of measurement as the GUM (JCGM 100:2008) and EA-4/02 evaluate it. Pure functions, safe on any thread.
// Nothing is rounded on the way; ReportedValue rounds what is printed.
#pragma once

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calibration/problem.h"
#include "resources/texts.h"

namespace ulix::calibration {

inline constexpr double kInfiniteFreedom = std::numeric_limits<double>::infinity();
// Share of a normal distribution within two standard deviations.
inline constexpr double kCoverageProbability = 0.9545;

// What is known of a quantity, and with it what its value is divided by to give a standard uncertainty.
enum class Distribution {
  kNormal,       // an expanded uncertainty; divided by its coverage factor
  kRectangular,  // half width / sqrt(3)
  kTriangular,   // half width / sqrt(6)
  kUShaped,      // half width / sqrt(2)
  kResolution,   // a whole step / sqrt(12)
  kTypeA,        // a standard uncertainty from observations
};

// "normal", "rectangular", "triangular", "u-shaped", "resolution", "type-a"; none for another text.
std::optional<Distribution> DistributionOf(std::string_view name);
TextId DistributionText(Distribution distribution);

// One line of a budget.
struct BudgetTerm {
  std::string name_en, name_fr;
  double value = 0;  // in the unit of its quantity, as its distribution takes it
  Distribution distribution = Distribution::kRectangular;
  double coverage_factor = 1;  // of a normal one
  double sensitivity = 1;      // unit of the result per unit of the quantity
  double freedom = kInfiniteFreedom;

  double Divisor() const;
  double StandardUncertainty() const { return value / Divisor(); }
  // Its share of the result's standard uncertainty, never negative.
  double Contribution() const;
};

// The terms, taken as independent, and what follows from them.
struct Budget {
  std::vector<BudgetTerm> terms;
  double best_capability = 0;  // expanded uncertainty below which the laboratory states none

  // Square root of the sum of the squared contributions.
  double StandardUncertainty() const;
  // Welch-Satterthwaite, truncated to a whole number, at least 1; infinite where no term has a finite one.
  double EffectiveFreedom() const;
  // For 95.45 %.
  double CoverageFactor() const;
  // Factor times standard uncertainty, or the best capability where that is larger.
  double ExpandedUncertainty() const;
};

// The k for which Student's distribution holds `probability` between -k and k.
double StudentCoverageFactor(double freedom, double probability = kCoverageProbability);

// A result and its uncertainty as they are printed. The uncertainty is rounded up to two significant digits; the result
// is rounded to the same decimal, halves to even on the exact binary value. Texts have a point and no exponent.
struct ReportedValue {
  std::string value;
  std::string uncertainty;
};

// The place of the second significant digit: 0.034 has 3 decimals, 34 none, 340 has -1.
int UncertaintyDecimals(double expanded);
// `value` rounded to so many decimals, which may be negative; never "-0".
std::string RoundedText(double value, int decimals);
ReportedValue Report(double value, double expanded);

}  // namespace ulix::calibration

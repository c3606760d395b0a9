// Evaluation of measurement uncertainty according to the GUM (JCGM 100:2008) and EA-4/02. Pure functions, safe on any
// thread. Only ReportedValue rounds.
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
// The share of a normal distribution within two standard deviations.
inline constexpr double kCoverageProbability = 0.9545;

// What is known about a quantity. It determines how the standard uncertainty follows from the value.
enum class Distribution {
  kNormal,       // an expanded uncertainty; divided by its coverage factor
  kRectangular,  // half width / sqrt(3)
  kTriangular,   // half width / sqrt(6)
  kUShaped,      // half width / sqrt(2)
  kResolution,   // a whole step / sqrt(12)
  kTypeA,        // a standard uncertainty from observations
};

// The distribution of a name: "normal", "rectangular", "triangular", "u-shaped", "resolution", "type-a". None for any
// other text.
std::optional<Distribution> DistributionOf(std::string_view name);
TextId DistributionText(Distribution distribution);

// One line of a budget.
struct BudgetTerm {
  std::string name_en, name_fr;
  double value = 0;  // in the unit of the quantity; its meaning depends on the distribution
  Distribution distribution = Distribution::kRectangular;
  double coverage_factor = 1;  // of a normal distribution
  double sensitivity = 1;      // units of the result per unit of the quantity
  double freedom = kInfiniteFreedom;

  double Divisor() const;
  double StandardUncertainty() const { return value / Divisor(); }
  // The contribution to the standard uncertainty of the result, never negative.
  double Contribution() const;
};

// A budget: terms that are assumed to be independent, and what follows from them.
struct Budget {
  std::vector<BudgetTerm> terms;
  double best_capability = 0;  // the smallest expanded uncertainty that the laboratory states

  // The square root of the sum of the squared contributions.
  double StandardUncertainty() const;
  // Effective degrees of freedom by Welch-Satterthwaite, truncated to a whole number, at least 1. Infinite if no term
  // has a finite number.
  double EffectiveFreedom() const;
  // The coverage factor for 95.45 %.
  double CoverageFactor() const;
  // Coverage factor times standard uncertainty, or the best capability if that is larger.
  double ExpandedUncertainty() const;
};

// The k for which the share of Student's distribution between -k and k is `probability`.
double StudentCoverageFactor(double freedom, double probability = kCoverageProbability);

// A result and its uncertainty as they are printed. The uncertainty is rounded up to two significant digits; the result
// is rounded to the same decimal, halves to even on the exact binary value. Texts have a point and no exponent.
struct ReportedValue {
  std::string value;
  std::string uncertainty;
};

// The number of decimals of the second significant digit: 3 for 0.034, 0 for 34, -1 for 340.
int UncertaintyDecimals(double expanded);
// `value` rounded to so many decimals, which may be negative; never "-0".
std::string RoundedText(double value, int decimals);
ReportedValue Report(double value, double expanded);

}  // namespace ulix::calibration

#include "calibration/uncertainty.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/numbers.h"

namespace ulix::calibration {
namespace {

struct DistributionRow {
  Distribution distribution;
  std::string_view name;
  TextId text;
};

constexpr std::array kDistributions = {
    DistributionRow{Distribution::kNormal, "normal", TextId::kDistributionNormal},
    DistributionRow{Distribution::kRectangular, "rectangular", TextId::kDistributionRectangular},
    DistributionRow{Distribution::kTriangular, "triangular", TextId::kDistributionTriangular},
    DistributionRow{Distribution::kUShaped, "u-shaped", TextId::kDistributionUShaped},
    DistributionRow{Distribution::kResolution, "resolution", TextId::kDistributionResolution},
    DistributionRow{Distribution::kTypeA, "type-a", TextId::kDistributionTypeA},
};

// The regularised incomplete beta function I_x(a, b) by its continued fraction (Abramowitz and Stegun 26.5.8), for x
// below (a + 1)/(a + b + 2), where it converges fast.
double IncompleteBeta(double a, double b, double x) {
  constexpr int kMaxTerms = 500;
  constexpr double kTiny = 1e-300;
  const auto nonzero = [](double value) { return std::abs(value) < kTiny ? kTiny : value; };
  double c = 1;
  double d = 1 / nonzero(1 - (a + b) * x / (a + 1));
  double fraction = d;
  for (int m = 1; m <= kMaxTerms; ++m) {
    const double even = m * (b - m) * x / ((a + 2 * m - 1) * (a + 2 * m));
    const double odd = -(a + m) * (a + b + m) * x / ((a + 2 * m) * (a + 2 * m + 1));
    double change = 1;
    for (const double term : {even, odd}) {
      d = 1 / nonzero(1 + term * d);
      c = nonzero(1 + term / c);
      change = d * c;
      fraction *= change;
    }
    if (std::abs(change - 1) < 1e-15) break;
  }
  const double front = std::lgamma(a + b) - std::lgamma(a) - std::lgamma(b) + a * std::log(x) + b * std::log1p(-x);
  return std::exp(front) * fraction / a;
}

// The share of Student's distribution outside of -k to k.
double StudentOutside(double freedom, double k) {
  const double x = freedom / (freedom + k * k);
  const double a = freedom / 2;
  constexpr double kB = 0.5;
  if (x < (a + 1) / (a + kB + 2)) return IncompleteBeta(a, kB, x);
  return 1 - IncompleteBeta(kB, a, 1 - x);
}

double OutsideOf(double freedom, double k) {
  return std::isinf(freedom) ? std::erfc(k / std::sqrt(2.0)) : StudentOutside(freedom, k);
}

}  // namespace

std::optional<Distribution> DistributionOf(std::string_view name) {
  const auto row = std::find_if(kDistributions.begin(), kDistributions.end(),
                                [&](const DistributionRow& r) { return r.name == name; });
  return row == kDistributions.end() ? std::nullopt : std::optional(row->distribution);
}

TextId DistributionText(Distribution distribution) {
  return kDistributions[static_cast<std::size_t>(distribution)].text;
}

double BudgetTerm::Divisor() const {
  switch (distribution) {
    case Distribution::kNormal:
      return coverage_factor;
    case Distribution::kRectangular:
      return std::sqrt(3.0);
    case Distribution::kTriangular:
      return std::sqrt(6.0);
    case Distribution::kUShaped:
      return std::sqrt(2.0);
    case Distribution::kResolution:
      return std::sqrt(12.0);
    case Distribution::kTypeA:
      break;
  }
  return 1;
}

double BudgetTerm::Contribution() const { return std::abs(sensitivity * StandardUncertainty()); }

double Budget::StandardUncertainty() const {
  double sum = 0;
  for (const BudgetTerm& term : terms) sum += term.Contribution() * term.Contribution();
  return std::sqrt(sum);
}

double Budget::EffectiveFreedom() const {
  const double total = StandardUncertainty();
  if (!(total > 0)) return kInfiniteFreedom;
  double sum = 0;
  for (const BudgetTerm& term : terms) sum += std::pow(term.Contribution() / total, 4) / term.freedom;
  constexpr double kAsGoodAsInfinite = 1e9;
  const double effective = 1 / sum;
  return effective < kAsGoodAsInfinite ? std::max(1.0, std::floor(effective)) : kInfiniteFreedom;
}

double Budget::CoverageFactor() const { return StudentCoverageFactor(EffectiveFreedom()); }

double Budget::ExpandedUncertainty() const {
  return std::max(CoverageFactor() * StandardUncertainty(), best_capability);
}

double StudentCoverageFactor(double freedom, double probability) {
  double low = 0;
  double high = 1e4;
  for (int step = 0; step < 100; ++step) {
    const double middle = (low + high) / 2;
    (OutsideOf(freedom, middle) > 1 - probability ? low : high) = middle;
  }
  return high;
}

int UncertaintyDecimals(double expanded) {
  // 0.0999 rounded up is 0.10: its second digit is one place higher.
  const int decimals = 1 - static_cast<int>(std::floor(std::log10(expanded)));
  const double steps = expanded * std::pow(10.0, decimals);
  constexpr double kTwoDigits = 99 * (1 + 1e-9);
  return steps > kTwoDigits ? decimals - 1 : decimals;
}

std::string RoundedText(double value, int decimals) {
  const double scale = std::pow(10.0, std::max(0, -decimals));
  const std::string shown =
      decimals < 0 ? FormatFixed(std::nearbyint(value / scale) * scale, 0) : FormatFixed(value, decimals);
  const bool zero = shown.find_first_of("123456789") == std::string::npos;
  return zero && shown.starts_with('-') ? shown.substr(1) : shown;
}

ReportedValue Report(double value, double expanded) {
  if (!(expanded > 0)) return {RoundedText(value, 6), "0"};
  const int decimals = UncertaintyDecimals(expanded);
  const double step = std::pow(10.0, -decimals);
  // An excess over a whole number of steps that is only a rounding error does not count.
  const double steps = std::ceil(expanded / step * (1 - 1e-9));
  return {RoundedText(value, decimals), RoundedText(steps * step, decimals)};
}

}  // namespace ulix::calibration

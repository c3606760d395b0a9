// Polynomials with their slopes, and the inverse of a function that rises in a whole range.
#pragma once

#include <cmath>
#include <cstddef>
#include <span>

namespace ulix::calibration {

struct ValueAndSlope {
  double value;
  double slope;
};

// c0 + c1 x + c2 x^2 ...
inline ValueAndSlope Polynomial(std::span<const double> coefficients, double x) {
  ValueAndSlope sum{0, 0};
  for (std::size_t k = coefficients.size(); k-- > 0;) {
    sum.slope = sum.slope * x + sum.value;
    sum.value = sum.value * x + coefficients[k];
  }
  return sum;
}

// The argument in [low, high] at which `function` (double -> ValueAndSlope) has the value `target`. Uses Newton's
// method inside a bracket that each step narrows, with at most 200 steps. The result is as exact as the rounding of the
// function. `target` must be between the values at both ends.
template <typename Function>
double InverseOfRising(const Function& function, double target, double low, double high) {
  constexpr int kMaxSteps = 200;
  double at = low + (high - low) / 2;
  for (int step = 0; step < kMaxSteps; ++step) {
    const ValueAndSlope here = function(at);
    const double excess = here.value - target;
    if (excess == 0) return at;
    (excess > 0 ? high : low) = at;
    double next = at - excess / here.slope;
    if (!(next > low && next < high)) next = low + (high - low) / 2;
    if (next == at || std::abs(next - at) <= 1e-15 * std::abs(at)) return next;
    at = next;
  }
  return at;
}

}  // namespace ulix::calibration

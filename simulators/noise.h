// The noise of simulated measurements.
#pragma once

#include <random>

namespace ulix {

// A series of numbers that is the same in every run. One thread.
class Noise {
 public:
  // The next number, evenly distributed between -greatest and +greatest.
  double Next(double greatest) {
    constexpr auto kSpan = static_cast<double>(std::minstd_rand::max() - std::minstd_rand::min());
    const double share = static_cast<double>(random_() - std::minstd_rand::min()) / kSpan;
    return greatest * (2 * share - 1);
  }

 private:
  std::minstd_rand random_;
};

}  // namespace ulix

// What makes one simulated measurement differ from the next.
#pragma once

#include <random>

namespace ulix {

// The same series in every run.
class Noise {
 public:
  // Between -greatest and +greatest, evenly.
  double Next(double greatest) {
    constexpr double kSpan = static_cast<double>(std::minstd_rand::max() - std::minstd_rand::min());
    const double share = static_cast<double>(random_() - std::minstd_rand::min()) / kSpan;
    return greatest * (2 * share - 1);
  }

 private:
  std::minstd_rand random_;
};

}  // namespace ulix

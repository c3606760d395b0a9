#include "calibration/results.h"

#include <algorithm>
#include <cmath>

namespace ulix::calibration {

double ReadingSeries::TypeA() const {
  return readings.size() < 2 ? 0 : deviation / std::sqrt(static_cast<double>(readings.size()));
}

ReadingSeries SeriesOf(std::vector<SampledValue> readings) {
  ReadingSeries series;
  series.readings = std::move(readings);
  const auto n = static_cast<double>(series.readings.size());
  if (n == 0) return series;
  // Sums differences from the first reading, because a sum of the values themselves would lose digits.
  const double first = series.readings.front().value;
  double sum = 0, squares = 0, low = first, high = first;
  for (const SampledValue& reading : series.readings) {
    sum += reading.value - first;
    low = std::min(low, reading.value);
    high = std::max(high, reading.value);
  }
  series.mean = first + sum / n;
  for (const SampledValue& reading : series.readings) squares += std::pow(reading.value - series.mean, 2);
  series.deviation = n < 2 ? 0 : std::sqrt(squares / (n - 1));
  series.spread = high - low;
  return series;
}

}  // namespace ulix::calibration

#include "calibration/problem.h"

#include "base/numbers.h"

namespace ulix::calibration {

Problem MakeProblem(const LocalizedText& text, std::initializer_list<std::string> values) {
  return {WithValues(text.en, values), WithValues(text.fr, values)};
}

std::string Shortened(double value) { return FormatGeneral(value, 9); }

}  // namespace ulix::calibration

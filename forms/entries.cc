#include "forms/entries.h"

#include <cmath>

#include "base/text.h"
#include "links/local_number.h"

namespace ulix {

std::optional<double> EnteredNumber(const std::string& text) {
  const std::string entered(Trimmed(text));
  if (entered.empty()) return std::nullopt;
  // The conversion answers what it cannot read with the minimum, so two different minima tell it.
  constexpr double kMost = 1e300;
  const double value = ParseLocalNumber(entered, kMost, -kMost);
  const bool read = value != -kMost && ParseLocalNumber(entered, kMost, -kMost / 2) == value;
  return read && value != kMost ? std::optional(value) : std::nullopt;
}

std::string ShownNumber(double value) {
  constexpr unsigned kDigits = 7;
  return FormatLocalNumber(value, kDigits);
}

std::optional<std::size_t> ChoiceOf(const Field& field) {
  for (std::size_t k = 0; k < field.choices.size(); ++k) {
    if (EqualIgnoringCase(field.choices[k], field.value)) return k;
  }
  return std::nullopt;
}

}  // namespace ulix

#include "forms/entries.h"

#include <cmath>

#include "base/text.h"
#include "links/local_number.h"

namespace ulix {

std::optional<double> EnteredNumber(const std::string& text) { return TypedNumber(std::string(Trimmed(text))); }

// The shown text must read back as the same number: a form that is accepted unchanged then changes nothing.
std::string ShownNumber(double value) {
  constexpr unsigned kUsualDigits = 7, kMaxDigits = 15;
  const bool whole = value == std::floor(value) && std::abs(value) < std::exp2(53);
  for (unsigned digits = kUsualDigits; digits < kMaxDigits; ++digits) {
    std::string text = FormatLocalNumber(value, digits);
    const double read = EnteredNumber(text).value_or(NAN);
    if (read == value || (!whole && static_cast<float>(read) == static_cast<float>(value))) return text;
  }
  return FormatLocalNumber(value, kMaxDigits);
}

std::optional<std::size_t> ChoiceOf(const Field& field) {
  for (std::size_t k = 0; k < field.choices.size(); ++k) {
    if (EqualIgnoringCase(field.choices[k], field.value)) return k;
  }
  return std::nullopt;
}

}  // namespace ulix

#include "forms/entries.h"

#include "base/text.h"
#include "links/local_number.h"

namespace ulix {

std::optional<double> EnteredNumber(const std::string& text) { return TypedNumber(std::string(Trimmed(text))); }

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

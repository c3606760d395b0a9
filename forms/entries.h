// Entries of people: numbers in their own notation.
#pragma once

#include <optional>
#include <string>

#include "forms/form.h"

namespace ulix {

// A number as the user writes one, blanks around it allowed; none for anything else, and for what is no finite number.
std::optional<double> EnteredNumber(const std::string& text);
// With seven digits, or as many more as it takes to read the same whole number or the same float from it.
std::string ShownNumber(double value);

// The place of an entry among the choices of its field, any case.
std::optional<std::size_t> ChoiceOf(const Field& field);

}  // namespace ulix

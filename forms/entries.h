// Numbers as users type and read them.
#pragma once

#include <optional>
#include <string>

#include "forms/form.h"

namespace ulix {

// The number in a user's entry, with blanks allowed at both ends. None for any other text, and for a number that is not
// finite.
std::optional<double> EnteredNumber(const std::string& text);
// The number with seven digits, or with more digits when it takes more to read the same whole number or float from it.
std::string ShownNumber(double value);

// The position of a field's value among its choices, in upper or lower case.
std::optional<std::size_t> ChoiceOf(const Field& field);

}  // namespace ulix

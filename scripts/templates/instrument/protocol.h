// Between NewClass command lines and values. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/result.h"

namespace ulix::new_word {

// Whether an identification line comes from this model.
bool IsNewClass(std::string_view identification);

// The number of a "MEAS?" reply, alone or with a unit behind a blank; serialCommErrUnableToReadComm for anything else.
Expected<float> ParseMeasure(std::string_view reply);

// "RATE FAST"; E_INVALIDARG for a code that the table does not have.
Expected<std::string> RateCommand(std::uint32_t rate);

// The code in the reply to "RATE?"; serialCommErrUnableToReadComm for a word that is none of the table's.
Expected<std::uint32_t> ParseRate(std::string_view reply);

}  // namespace ulix::new_word

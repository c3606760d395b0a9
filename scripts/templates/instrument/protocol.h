// Converts between NewClass command lines and values. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/result.h"

namespace ulix::new_model {

// Whether an identification line comes from this model.
bool IsNewClass(std::string_view identification);

// The number in a "MEAS?" reply, alone or followed by a blank and a unit; serialCommErrUnableToReadComm for anything
// else.
Expected<float> ParseMeasure(std::string_view reply);

// The command for a rate, such as "RATE FAST"; E_INVALIDARG for a code that the table does not have.
Expected<std::string> RateCommand(std::uint32_t rate);

// The code of the label in a "RATE?" reply; serialCommErrUnableToReadComm for a label that the table does not have.
Expected<std::uint32_t> ParseRate(std::string_view reply);

}  // namespace ulix::new_model

// Conversions between command lines of Kambic baths and values. Pure functions.
#pragma once

#include <string>
#include <string_view>

#include "base/result.h"
#include "drivers/model_card.h"

namespace ulix::kambic {

// Whether an identification is that of a bath of this series.
bool IsKambic(std::string_view identification);

// Parses a channel's value in the answer to "TXD". kambicCtlErrBadCmde when the bath refused the command.
// kambicCtlErrBadResp when the channel's key is missing, or is not followed by a number that ends at a blank or line
// end. `channel` must be known.
Expected<float> ParseReading(std::string_view answer, ChannelId channel);

// The command "SETTEMP=30.000". kambicCtlErrOutOfRange for a value that is not finite.
Expected<std::string> SetPointCommand(float degrees);
// S_OK if the bath confirms the set point of `command` with the same number. kambicCtlErrBadCmde or
// kambicCtlErrOutOfRange when it refuses; kambicCtlErrBadResp when it sends another number or none.
HRESULT CheckSetPointAnswer(std::string_view answer, std::string_view command);

}  // namespace ulix::kambic

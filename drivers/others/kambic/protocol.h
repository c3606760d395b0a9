// Between Kambic bath command lines and values. Pure functions.
#pragma once

#include <string>
#include <string_view>

#include "base/result.h"
#include "drivers/model_card.h"

namespace ulix::kambic {

// Whether an identification line comes from a bath of the series.
bool IsKambic(std::string_view identification);

// A channel's value in the answer to "TXD". kambicCtlErrBadCmde when the bath refused the command; kambicCtlErrBadResp
// when the channel's key is missing, or a number behind it that ends at a blank or a line end. `channel` is a known
// one.
Expected<float> ParseReading(std::string_view answer, ChannelId channel);

// "SETTEMP=30.000". kambicCtlErrOutOfRange for what is no finite number.
Expected<std::string> SetPointCommand(float degrees);
// Whether the bath took the set point of `command`: it must say the very number. kambicCtlErrBadCmde,
// kambicCtlErrOutOfRange, or kambicCtlErrBadResp when it says another or none.
HRESULT CheckSetPointAnswer(std::string_view answer, std::string_view command);

}  // namespace ulix::kambic

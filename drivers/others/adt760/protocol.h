// Conversions between ADT760 command lines and values. Pure functions.
#pragma once

#include <string>
#include <string_view>

#include "base/result.h"
#include "drivers/others/adt760/tables.h"

namespace ulix::adt760 {

bool IsAdt760(std::string_view identification);

// The function in an answer to "SENS:ELEC:FUNC?", in upper or lower case. Null for an unknown one.
const ElectricalFunction* FindFunction(std::string_view answer);

// Parses the answer to a channel's query: a number, alone or followed by a blank or a comma and a unit.
// adt760CtlErrNoMeasAvailable for anything else, for an answer that was cut, and for 9.9E37 and above of either sign,
// which the instrument sends for an overload or a missing value. The answer of the vent channel is a word; its value is
// 1 while venting, else 0.
Expected<float> ParseReading(std::string_view answer, ChannelId channel);

// The command that sets an output channel. Empty for the end of venting, which has no command. adt760CtlErrChNum for a
// channel that is not an output, adt760CtlErrOutOfRange for a value that is not finite.
Expected<std::string> WriteCommand(ChannelId channel, float value);

// Whether an answer can be one to "SYST:ERR?": a whole number, alone or followed by a comma, as in 0,"No error". A
// measured value or a word is not.
bool IsErrorQueue(std::string_view answer);
// adt760CtlErrScpiCmde if an answer to "SYST:ERR?" reports an error, else S_OK. An answer without a number reports
// none.
HRESULT CheckErrorQueue(std::string_view answer);

}  // namespace ulix::adt760

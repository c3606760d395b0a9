// Between ADT760 command lines and values. Pure functions.
#pragma once

#include <string>
#include <string_view>

#include "base/result.h"
#include "drivers/others/adt760/tables.h"

namespace ulix::adt760 {

bool IsAdt760(std::string_view identification);

// The function that an answer to "SENS:ELEC:FUNC?" tells, in any case; null for none of them.
const ElectricalFunction* FindFunction(std::string_view answer);

// The value of a channel in the answer to its query: a number alone, or with a unit behind a blank or a comma.
// adt760CtlErrNoMeasAvailable for anything else, for 9.9E37 and above of either sign, by which the instrument tells of
// an overload or of no value, and for an answer that is longer than what is read of one. The vent channel is 1 while
// venting and else 0; its answer is a word and no number.
Expected<float> ParseReading(std::string_view answer, ChannelId channel);

// The command that sets an output channel, empty for one that has none: venting is never ended by a command.
// adt760CtlErrChNum for a channel that is no output, adt760CtlErrOutOfRange for what is no finite number.
Expected<std::string> WriteCommand(ChannelId channel, float value);

// Whether an answer can be one to "SYST:ERR?": a whole number, alone or with a comma behind it, as in 0,"No error". A
// measured value or a word is none.
bool IsErrorQueue(std::string_view answer);
// Whether the answer to "SYST:ERR?" tells of an error: adt760CtlErrScpiCmde. One without a number tells of none.
HRESULT CheckErrorQueue(std::string_view answer);

}  // namespace ulix::adt760

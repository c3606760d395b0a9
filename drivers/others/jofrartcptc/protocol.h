// The Jofra calibrators' lines: pure functions between text and values. Answers are given without line ends and blanks
// around them; temperatures are degrees Celsius.
#pragma once

#include <string>
#include <string_view>

#include "base/result.h"
#include "drivers/others/jofrartcptc/tables.h"

namespace ulix::jofrartcptc {

// Whether the answer to "ascii+" is one of these calibrators'. One that speaks ASCII already, or knows nothing else,
// takes the command for an error.
bool SpeaksAscii(std::string_view answer);

// Whether the answer to the dialect's identification query comes from its series.
bool IsOf(const Dialect& dialect, std::string_view identification);

// Whether the instrument refuses what it was told.
bool IsError(std::string_view answer);

// A channel's temperature. "NaN" in its place is jofrartcptcCtlErrNoMeasAvailable, an error answer
// jofrartcptcCtlErrNack. serialCommErrUnableToReadComm: no number there, or not one whole answer to the reading query
// (an RTC's bracket is missing, another answer stands before it, a CTC's value or unit is not in its place).
Expected<float> ParseReading(const Dialect& dialect, std::string_view answer, const ChannelPlace& place);

std::size_t CountFields(const Dialect& dialect, std::string_view answer);

// "Settemperature 50.00" or, in kelvin, "SETTEMP 323.15 KEL". What is no temperature is jofrartcptcCtlErrOutOfRange.
Expected<std::string> SetPointCommand(const Dialect& dialect, float value);

// Whether the answer to the set point query tells `value`, to one decimal.
bool ConfirmsSetPoint(const Dialect& dialect, std::string_view answer, float value);

}  // namespace ulix::jofrartcptc

// Conversions between lines of the Jofra calibrators and values. Pure functions. Answers are given without line ends
// and surrounding blanks. Temperatures are in degrees Celsius.
#pragma once

#include <string>
#include <string_view>

#include "base/result.h"
#include "drivers/others/jofrartcptc/tables.h"

namespace ulix::jofrartcptc {

// Whether the answer to "ascii+" comes from one of these calibrators. A calibrator that is already in ASCII mode, or
// has only that mode, answers with an error.
bool SpeaksAscii(std::string_view answer);

// Whether an identification comes from the series of the dialect.
bool IsOf(const Dialect& dialect, std::string_view identification);

// Whether the instrument refuses a command.
bool IsError(std::string_view answer);

// Parses a channel's temperature. jofrartcptcCtlErrNoMeasAvailable for "NaN" in its place, jofrartcptcCtlErrNack for an
// error answer. serialCommErrUnableToReadComm if there is no number, or if the text is not exactly one whole answer to
// the reading query: a bracket of an RTC is missing, another answer precedes it, or a value or unit of a CTC is not in
// its place.
Expected<float> ParseReading(const Dialect& dialect, std::string_view answer, const ChannelPlace& place);

std::size_t CountFields(const Dialect& dialect, std::string_view answer);

// The command that sets the set point: "Settemperature 50.00" or, in kelvin, "SETTEMP 323.15 KEL".
// jofrartcptcCtlErrOutOfRange for a value that cannot be a temperature.
Expected<std::string> SetPointCommand(const Dialect& dialect, float value);

// Whether the answer to the set point query has `value`, compared to one decimal.
bool ConfirmsSetPoint(const Dialect& dialect, std::string_view answer, float value);

}  // namespace ulix::jofrartcptc

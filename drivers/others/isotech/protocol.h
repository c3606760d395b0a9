// Conversions between frames of Isotech controllers and values. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/result.h"

namespace ulix::isotech {

inline constexpr std::size_t kAddressedAnswerSize = 1;
inline constexpr std::size_t kLineAnswerSize = 5;

// Checks a set point in degrees Celsius. isotechCtlErrOutOfRange if it must not be sent, which includes NaN.
HRESULT CheckSetPoint(std::uint32_t model, float degrees);

// The frame of an addressed controller: EOT, the address with each digit doubled, STX, "SL" and the value, ETX,
// checksum. `address` is 99 at most.
std::string AddressedFrame(std::uint32_t address, float degrees);
// The frame of a line controller: STX, a command and its argument, CR LF.
std::string LineFrame(std::string_view command);
// The frame of its set point: STX, "ST0", sign, five digits, point, six digits, CR LF.
std::string LineSetPointFrame(float degrees);

// S_OK if the controller confirmed the frame; isotechCtlErrNack for any other answer.
HRESULT CheckAddressedAnswer(std::string_view answer);
// Whether an answer is the single byte with which an addressed controller refuses.
bool IsRefusal(std::string_view answer);
// S_OK if a line controller confirmed the frame; isotechCtlErrNack for any other answer. `command` is the command that
// was sent, without its argument.
HRESULT CheckLineAnswer(std::string_view answer, std::string_view command);

// Whether an answer is the longer one with which some controllers confirm a stop: STX "GT" and more, up to LF.
bool IsLongStopAnswer(std::string_view answer);
// Whether the part of such a frame that was read includes its end.
bool HasEnded(std::string_view answer);

}  // namespace ulix::isotech

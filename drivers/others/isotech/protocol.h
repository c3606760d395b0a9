// Between the frames of Isotech controllers and values. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/result.h"

namespace ulix::isotech {

inline constexpr std::size_t kAddressedAnswerSize = 1;
inline constexpr std::size_t kLineAnswerSize = 5;

// Whether a set point, in degrees Celsius, may be sent. isotechCtlErrOutOfRange if not; NaN never may.
HRESULT CheckSetPoint(std::uint32_t model, float degrees);

// EOT, the address, each digit twice, STX, "SL" and the value, ETX, the block check. `address` is 99 at most.
std::string AddressedFrame(std::uint32_t address, float degrees);
// STX, a command and its argument, CR LF.
std::string LineFrame(std::string_view command);
// STX, "ST0", sign, five digits, point, six digits, CR LF.
std::string LineSetPointFrame(float degrees);

// Whether the controller agreed; isotechCtlErrNack for any other answer.
HRESULT CheckAddressedAnswer(std::string_view answer);
// Whether it is the one byte by which an addressed controller refuses.
bool IsRefusal(std::string_view answer);
// `command` is the one that was sent, without its argument.
HRESULT CheckLineAnswer(std::string_view answer, std::string_view command);

// Some controllers answer a stop with a longer frame, STX "GT" and more up to its LF, which agrees too.
bool IsLongStopAnswer(std::string_view answer);
// Whether such a frame, as far as it was read, has its end.
bool HasEnded(std::string_view answer);

}  // namespace ulix::isotech

// Conversions between the lines of a HART interface unit and values. Pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/result.h"

namespace ulix::hart {

// The text of a set point in a command: "21.46".
std::string SetPointText(float value);

// Longest reply in bytes, without its carriage return. A longer reply is cut.
inline constexpr std::size_t kLongestReply = 19;

struct Measurement {
  float value;
  const char* unit;  // degrees Celsius if the reply names none; "" for an unknown unit
};
// Parses the number after the first colon, and its unit, as in "t:23.50 C". serialCommErrUnableToReadComm for a reply
// without a colon or number, with other text after the colon, or with a number that may be cut at the line's limit.
Expected<Measurement> ParseMeasurement(std::string_view reply);
Expected<float> ParseValue(std::string_view reply);

// The heading of a reply: the text before its last colon, without blanks around it. None without a colon.
std::optional<std::string> HeadingOf(std::string_view reply);

// Whether a heading looks like that of a reply to "s": its last word ends with S or SP or contains SET, in upper or
// lower case. The start of a reply that stopped midway may precede it.
bool IsSetPoint(std::string_view heading);

// Whether the reply to "s" confirms the set point that was sent: it contains the same text, or the same number with two
// decimals.
bool Confirms(std::string_view reply, std::string_view sent);

}  // namespace ulix::hart

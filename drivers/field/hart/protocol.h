// Between the lines of a HART interface unit and values. Pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/result.h"

namespace ulix::hart {

// "21.46", as a set point is sent.
std::string SetPointText(float value);

// Longest reply, without its carriage return. What is longer is cut there.
inline constexpr std::size_t kLongestReply = 19;

struct Measurement {
  float value;
  const char* unit;  // degrees Celsius where the reply names none; "" for one that is no temperature's
};
// The number behind the first colon and its unit, as in "t:23.50 C". serialCommErrUnableToReadComm for a reply without
// them, with anything else behind the colon, or with a number that may be cut at the line's limit.
Expected<Measurement> ParseMeasurement(std::string_view reply);
Expected<float> ParseValue(std::string_view reply);

// What stands before the last colon, without blanks around it; none where there is no colon.
std::optional<std::string> HeadingOf(std::string_view reply);

// Whether a heading is one of a reply to "s", as far as that can be told by itself: it is s or S, also behind a reply
// that stopped midway, or names a set point. The word "sensor" does not.
bool IsSetPoint(std::string_view heading);

// Whether the reply to "s" says the set point that was sent: its text, or the same number in two decimals.
bool Confirms(std::string_view reply, std::string_view sent);

}  // namespace ulix::hart

// Texts that others sent, made safe for terminals, pages and logs.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ulix::fleet {

inline constexpr std::size_t kMaxShownBytes = 200;

// Whether a text is valid UTF-8 and each character of it is seen where it stands: no control character, no line or
// paragraph separator, nothing without width, nothing that turns the direction of writing.
bool IsShowable(std::string_view utf8);
// The text with `mark` in place of each character, and each byte of broken UTF-8, that IsShowable refuses. It has at
// most kMaxShownBytes and ends with a whole character.
std::string ShownText(std::string_view utf8, char mark = '?');

}  // namespace ulix::fleet

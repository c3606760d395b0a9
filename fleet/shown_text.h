// Makes texts from other programs safe for terminals, pages and logs.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ulix::fleet {

inline constexpr std::size_t kMaxShownBytes = 200;

// Whether a text is valid UTF-8 and every character is visible in its place: no control characters, no line or
// paragraph separators, no characters without width, none that change the direction of writing.
bool IsShowable(std::string_view utf8);
// The text with `mark` in place of each character that IsShowable refuses, and of each byte of broken UTF-8. It has at
// most kMaxShownBytes bytes and ends with a whole character.
std::string ShownText(std::string_view utf8, char mark = '?');

}  // namespace ulix::fleet

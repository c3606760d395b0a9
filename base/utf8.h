// UTF-8, a character at a time.
#pragma once

#include <cstddef>
#include <string_view>

namespace ulix {

// A decoded UTF-8 sequence. A length of 0 means that it is broken.
struct Utf8Character {
  char32_t code_point;
  std::size_t length;
};

// The sequence at the begin of a text that is not empty. Overlong forms and halves of UTF-16 pairs are broken.
Utf8Character DecodeUtf8(std::string_view text);

}  // namespace ulix

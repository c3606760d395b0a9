// Decoding of UTF-8, one character at a time.
#pragma once

#include <cstddef>
#include <string_view>

namespace ulix {

// A decoded UTF-8 sequence. A length of 0 means that the sequence is broken.
struct Utf8Character {
  char32_t code_point;
  std::size_t length;
};

// Decodes the sequence at the start of `text`, which must not be empty. Overlong forms and halves of UTF-16 pairs count
// as broken.
Utf8Character DecodeUtf8(std::string_view text);

}  // namespace ulix

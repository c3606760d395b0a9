// Numbered names and keys ("CH0", "CH1", ...) for rows of tables, made at compile time.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace ulix {

// A zero-terminated text in an array.
template <std::size_t kSize>
using NumberedTextOf = std::array<char, kSize>;
using NumberedText = NumberedTextOf<64>;

// The text `before`, the number (0 to 9999) and the text `after`, joined. Does not compile if the result is longer than
// the array.
template <std::size_t kSize = 64>
consteval NumberedTextOf<kSize> NumberText(std::string_view before, std::size_t number, std::string_view after) {
  NumberedTextOf<kSize> text{};
  std::size_t end = 0;
  const auto add = [&](std::string_view part) {
    for (const char c : part) text.at(end++) = c;
  };
  add(before);
  std::size_t unit = 1;
  while (number / unit >= 10) unit *= 10;
  for (; unit > 0; unit /= 10) text.at(end++) = static_cast<char>('0' + number / unit % 10);
  add(after);
  text.at(end) = '\0';
  return text;
}

// kCount such texts, with the numbers from `first` on.
template <std::size_t kCount, std::size_t kSize = 64>
consteval std::array<NumberedTextOf<kSize>, kCount> NumberTexts(std::string_view before, std::string_view after = {},
                                                                std::size_t first = 0) {
  static_assert(kCount < 10'000);
  std::array<NumberedTextOf<kSize>, kCount> texts{};
  for (std::size_t k = 0; k < kCount; ++k) texts[k] = NumberText<kSize>(before, first + k, after);
  return texts;
}

}  // namespace ulix

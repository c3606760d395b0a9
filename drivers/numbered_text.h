// Names and keys of numbered things ("CH0", "CH1", ...), made when the program is compiled, for rows of tables.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace ulix {

// Zero-terminated.
using NumberedText = std::array<char, 64>;

// `before`, the number from 0 to 99, `after`. Does not compile where it does not fit.
consteval NumberedText NumberText(std::string_view before, std::size_t number, std::string_view after) {
  NumberedText text{};
  std::size_t end = 0;
  const auto add = [&](std::string_view part) {
    for (const char c : part) text.at(end++) = c;
  };
  add(before);
  if (number >= 10) text.at(end++) = static_cast<char>('0' + number / 10);
  text.at(end++) = static_cast<char>('0' + number % 10);
  add(after);
  text.at(end) = '\0';
  return text;
}

// One for each number from 0.
template <std::size_t kCount>
consteval std::array<NumberedText, kCount> NumberTexts(std::string_view before, std::string_view after = {}) {
  static_assert(kCount <= 100);
  std::array<NumberedText, kCount> texts{};
  for (std::size_t number = 0; number < kCount; ++number) texts[number] = NumberText(before, number, after);
  return texts;
}

}  // namespace ulix

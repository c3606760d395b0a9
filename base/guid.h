// Globally unique identifiers as numbers and as texts.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ulix {

// The USB helper libraries use this layout.
struct Guid {
  std::uint32_t data1 = 0;
  std::uint16_t data2 = 0;
  std::uint16_t data3 = 0;
  std::array<std::uint8_t, 8> data4{};

  bool operator==(const Guid&) const = default;
};
static_assert(sizeof(Guid) == 16);

// "F06E89B5-6258-4CE7-83AA-248D25DEBF60".
std::string GuidText(const Guid& guid);

// The number of a hexadecimal digit; 16 for any other character.
constexpr unsigned HexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
  return 16;
}

// Reads the text of GuidText, in upper or lower case, with or without braces. None for any other text.
constexpr std::optional<Guid> ParseGuid(std::string_view text) {
  constexpr std::string_view kForm = "00000000-0000-0000-0000-000000000000";
  if (text.starts_with('{') && text.ends_with('}')) text = text.substr(1, text.size() - 2);
  if (text.size() != kForm.size()) return std::nullopt;
  std::array<std::uint8_t, 16> bytes{};
  for (std::size_t i = 0, digits = 0; i < text.size(); ++i) {
    const unsigned digit = HexDigit(text[i]);
    if (kForm[i] == '-' ? text[i] != '-' : digit > 15) return std::nullopt;
    if (kForm[i] == '-') continue;
    bytes[digits / 2] = static_cast<std::uint8_t>(unsigned{bytes[digits / 2]} << 4U | digit);
    ++digits;
  }
  Guid guid;
  for (std::size_t i = 0; i < 4; ++i) guid.data1 = guid.data1 << 8U | bytes[i];
  guid.data2 = static_cast<std::uint16_t>(bytes[4] << 8U | bytes[5]);
  guid.data3 = static_cast<std::uint16_t>(bytes[6] << 8U | bytes[7]);
  for (std::size_t i = 0; i < guid.data4.size(); ++i) guid.data4[i] = bytes[8 + i];
  return guid;
}

}  // namespace ulix

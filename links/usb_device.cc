#include "links/usb_device.h"

#include <charconv>
#include <cstdio>

namespace ulix {
namespace {

constexpr std::string_view kForm = "00000000-0000-0000-0000-000000000000";

bool IsHexadecimal(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); }

bool HasForm(std::string_view text) {
  if (text.size() != kForm.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (kForm[i] == '-' ? text[i] != '-' : !IsHexadecimal(text[i])) return false;
  }
  return true;
}

template <typename T>
T HexadecimalAt(std::string_view text, std::size_t at) {
  std::uint32_t value = 0;
  const char* begin = text.data() + at;
  std::from_chars(begin, begin + 2 * sizeof(T), value, 16);
  return static_cast<T>(value);
}

}  // namespace

std::string GuidText(const Guid& guid) {
  std::array<char, 40> text{};
  const auto& d = guid.data4;
  std::snprintf(text.data(), text.size(), "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", guid.data1, guid.data2,
                guid.data3, d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
  return text.data();
}

std::optional<Guid> ParseGuid(std::string_view text) {
  const bool braced = text.starts_with('{') && text.ends_with('}');
  if (braced) text = text.substr(1, text.size() - 2);
  if (!HasForm(text)) return std::nullopt;
  constexpr std::array<std::size_t, 8> kBytes = {19, 21, 24, 26, 28, 30, 32, 34};
  Guid guid{HexadecimalAt<std::uint32_t>(text, 0), HexadecimalAt<std::uint16_t>(text, 9),
               HexadecimalAt<std::uint16_t>(text, 14)};
  for (std::size_t i = 0; i < kBytes.size(); ++i) guid.data4[i] = HexadecimalAt<std::uint8_t>(text, kBytes[i]);
  return guid;
}

}  // namespace ulix

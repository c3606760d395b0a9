#include "base/utf8.h"

#include <array>

namespace ulix {

Utf8Character DecodeUtf8(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) return {lead, 1};
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return {0, 0};
  char32_t code_point = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) return {0, 0};
    code_point = (code_point << 6) | (next & 0x3F);
  }
  constexpr std::array<char32_t, 5> kLowest = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code_point >= 0xD800 && code_point <= 0xDFFF;
  if (code_point < kLowest[length] || surrogate || code_point > 0x10FFFF) return {0, 0};
  return {code_point, length};
}

}  // namespace ulix

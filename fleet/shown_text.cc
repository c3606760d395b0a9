#include "fleet/shown_text.h"

#include <algorithm>

#include "base/utf8.h"

namespace ulix::fleet {
namespace {

struct Range {
  char32_t first, last;
};

// Control characters, and the format characters of Unicode that hide or reorder others.
constexpr Range kUnseen[] = {{0, 0x1F},        {0x7F, 0x9F},      {0xAD, 0xAD},     {0x61C, 0x61C},
                             {0x200B, 0x200F}, {0x2028, 0x202E},  {0x2060, 0x206F}, {0xFEFF, 0xFEFF},
                             {0xFFF9, 0xFFFB}, {0xE0000, 0xE0FFF}};

bool IsSeen(const Utf8Character& character) {
  const char32_t code = character.code_point;
  return character.length > 0 && std::none_of(std::begin(kUnseen), std::end(kUnseen), [code](const Range& range) {
           return code >= range.first && code <= range.last;
         });
}

}  // namespace

bool IsShowable(std::string_view utf8) {
  while (!utf8.empty()) {
    const Utf8Character character = DecodeUtf8(utf8);
    if (!IsSeen(character)) return false;
    utf8.remove_prefix(character.length);
  }
  return true;
}

std::string ShownText(std::string_view utf8, char mark) {
  std::string shown;
  while (!utf8.empty()) {
    const Utf8Character character = DecodeUtf8(utf8);
    const std::size_t length = std::max<std::size_t>(character.length, 1);
    const bool seen = IsSeen(character);
    if (shown.size() + (seen ? length : 1) > kMaxShownBytes) break;
    shown += seen ? std::string(utf8.substr(0, length)) : std::string(1, mark);
    utf8.remove_prefix(length);
  }
  return shown;
}

}  // namespace ulix::fleet

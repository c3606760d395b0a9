#include "base/text.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "base/utf8.h"

namespace ulix {
namespace {

// Windows-1252 from 0x80 to 0x9F; the rest is Latin-1. The five unassigned bytes keep their own number, as in Windows.
constexpr std::array<char16_t, 32> kUpperControls = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                     0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                                     0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                     0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char16_t CodePointOf(unsigned char byte) {
  return byte >= 0x80 && byte < 0xA0 ? kUpperControls[byte - 0x80] : static_cast<char16_t>(byte);
}

char AnsiOf(char32_t code_point) {
  if (code_point < 0x80 || (code_point >= 0xA0 && code_point <= 0xFF)) return static_cast<char>(code_point);
  const auto found = std::find(kUpperControls.begin(), kUpperControls.end(), code_point);
  if (found == kUpperControls.end()) return '?';
  return static_cast<char>(0x80 + (found - kUpperControls.begin()));
}

void AppendUtf8(std::string& out, char16_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

}  // namespace

std::string LocalizedText::In(Language language) const { return AnsiFromUtf8(language == Language::kFrench ? fr : en); }

std::string Utf8FromAnsi(std::string_view ansi) {
  std::string out;
  out.reserve(ansi.size());
  for (const char c : ansi) AppendUtf8(out, CodePointOf(static_cast<unsigned char>(c)));
  return out;
}

std::u16string Utf16FromAnsi(std::string_view ansi) {
  std::u16string out;
  out.reserve(ansi.size());
  for (const char c : ansi) out += CodePointOf(static_cast<unsigned char>(c));
  return out;
}

std::string AnsiFromUtf16(std::u16string_view wide) {
  std::string out;
  out.reserve(wide.size());
  for (const char16_t unit : wide) out += AnsiOf(unit);
  return out;
}

std::string AnsiFromUtf8(std::string_view utf8) {
  std::string out;
  out.reserve(utf8.size());
  while (!utf8.empty()) {
    const Utf8Character decoded = DecodeUtf8(utf8);
    out += decoded.length == 0 ? '?' : AnsiOf(decoded.code_point);
    utf8.remove_prefix(std::max<std::size_t>(decoded.length, 1));
  }
  return out;
}

std::string AsciiUpper(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return out;
}

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && AsciiUpper(a) == AsciiUpper(b);
}

std::string WithValues(std::string text, std::span<const std::string> values) {
  std::size_t place = 0;
  for (const std::string& value : values) {
    place = text.find('%', place);
    if (place == std::string::npos) break;
    text.replace(place, 1, value);
    place += value.size();
  }
  return text;
}

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string_view> SplitFields(std::string_view text, char separator) {
  std::vector<std::string_view> fields;
  for (;;) {
    const std::size_t end = text.find(separator);
    fields.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return fields;
    text.remove_prefix(end + 1);
  }
}

std::vector<std::string_view> SplitWords(std::string_view text, std::string_view separators) {
  std::vector<std::string_view> words;
  std::size_t at = text.find_first_not_of(separators);
  while (at != std::string_view::npos) {
    const std::size_t end = std::min(text.find_first_of(separators, at), text.size());
    words.push_back(text.substr(at, end - at));
    at = text.find_first_not_of(separators, end);
  }
  return words;
}

}  // namespace ulix

// Text as bytes: Windows-1252 inside the library and on the wire, UTF-8 in the sources and on the command line.
#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ulix {

// The characters that a C runtime treats as blanks.
inline constexpr std::string_view kBlanks = " \t\n\v\f\r";

// Languages of the visible texts: French for a French user, English for everybody else.
enum class Language { kEnglish, kFrench };

// One text in both languages, in UTF-8.
struct LocalizedText {
  const char* en;
  const char* fr;
  // The text in Windows-1252, the encoding of all texts of the library.
  std::string In(Language language) const;
};

// Conversions between encodings. A character that the target lacks becomes '?', and so does each byte of a broken
// sequence.
std::string Utf8FromAnsi(std::string_view ansi);
std::string AnsiFromUtf8(std::string_view utf8);
std::u16string Utf16FromAnsi(std::string_view ansi);
std::string AnsiFromUtf16(std::u16string_view wide);

// Changes the letters a to z to upper case, and no other byte.
std::string AsciiUpper(std::string_view text);
// Whether two texts are equal when the case of the letters a to z is ignored.
bool EqualIgnoringCase(std::string_view a, std::string_view b);

std::string_view Trimmed(std::string_view text);
inline bool Contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

// Replaces each '%' of the text by the next value.
std::string WithValues(std::string text, std::span<const std::string> values);
inline std::string WithValues(std::string text, std::initializer_list<std::string> values) {
  return WithValues(std::move(text), std::span(values.begin(), values.size()));
}

// The fields of `text` between separators. Empty fields count, and there is at least one field.
std::vector<std::string_view> SplitFields(std::string_view text, char separator);
// The words of `text`: the parts between any of `separators`, without empty parts.
std::vector<std::string_view> SplitWords(std::string_view text, std::string_view separators);
// The field at index `at`; empty if there are fewer fields.
inline std::string_view FieldAt(std::span<const std::string_view> fields, std::size_t at) {
  return at < fields.size() ? fields[at] : std::string_view();
}

}  // namespace ulix

// Text as bytes: Windows-1252 inside the library and on the wire, UTF-8 in the sources and on the command line.
#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ulix {

// What a C runtime takes for blanks.
inline constexpr std::string_view kBlanks = " \t\n\v\f\r";

// Languages of the visible texts: French for a French user, English for everybody else.
enum class Language { kEnglish, kFrench };

// One text in both languages, UTF-8 as the source has it.
struct LocalizedText {
  const char* en;
  const char* fr;
  // The text in Windows-1252, the form in which it leaves the library.
  std::string In(Language language) const;
};

// Between the encodings. What one has and the other lacks becomes '?', and so does each byte of a broken sequence.
std::string Utf8FromAnsi(std::string_view ansi);
std::string AnsiFromUtf8(std::string_view utf8);
std::u16string Utf16FromAnsi(std::string_view ansi);
std::string AnsiFromUtf16(std::u16string_view wide);

// Upper case of the 26 letters; every other byte stays.
std::string AsciiUpper(std::string_view text);
// Whether two texts are the same but for the case of the 26 letters.
bool EqualIgnoringCase(std::string_view a, std::string_view b);

std::string_view Trimmed(std::string_view text);

// The text with the values in place of its '%'s, in order.
std::string WithValues(std::string text, std::span<const std::string> values);
inline std::string WithValues(std::string text, std::initializer_list<std::string> values) {
  return WithValues(std::move(text), std::span(values.begin(), values.size()));
}

// The fields of `text` between separators; empty ones keep their place, and there is one at least.
std::vector<std::string_view> SplitFields(std::string_view text, char separator);
// The fields of `text` between runs of `separators`; empty fields are dropped.
std::vector<std::string_view> SplitWords(std::string_view text, std::string_view separators);

}  // namespace ulix

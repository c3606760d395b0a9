// Any bytes as numbers and in each encoding. The results must equal those of the C runtime in its "C" locale.
#include "base/numbers.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "base/text.h"
#include "fuzz/require.h"

namespace ulix {
namespace {

bool SameBits(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

std::string Printed(const char* format, double value) {
  std::array<char, 400> text;
  return {text.data(), static_cast<std::size_t>(std::snprintf(text.data(), text.size(), format, value))};
}

void CheckFormats(double value) {
  Require(FormatFixed(value) == Printed("%f", value), "a fixed number is as printf has it");
  Require(FormatFixed(value, 0) == Printed("%.0f", value), "a fixed number without decimals is as printf has it");
  Require(FormatGeneral(value) == Printed("%G", value), "a general number is as printf has it");
  const auto exact = ParseDecimal(FormatGeneral(value, 17));
  Require(exact && SameBits(*exact, value), "17 digits read back as the same double");
  const auto real = static_cast<float>(value);
  if (!std::isfinite(real)) return;
  const auto shortest = ParseDecimal(FormatShortest(real));
  Require(shortest && SameBits(static_cast<float>(*shortest), real), "the shortest digits read back as the same float");
}

void CheckPrefix(std::string_view text) {
  const std::string terminated(text);
  const auto prefix = ParseDecimalPrefix(text);
  if (!prefix) {
    char* end = nullptr;
    const double read = std::strtod(terminated.c_str(), &end);
    Require(end == terminated.c_str() || !std::isfinite(read), "a text without a finite number begins with none");
    Require(!ParseDecimal(text), "and is none");
    return;
  }
  Require(prefix->length <= text.size() && std::isfinite(prefix->value), "a number is finite and inside its text");
  const std::string_view number = text.substr(0, prefix->length);
  constexpr double kLargest = std::numeric_limits<double>::max();
  const double read = std::clamp(std::strtod(std::string(number).c_str(), nullptr), -kLargest, kLargest);
  Require(SameBits(prefix->value, read), "a number is as strtod has it, held at the largest");
  const auto whole = ParseDecimal(number);
  Require(whole && SameBits(*whole, prefix->value), "the number alone reads the same");
  Require(ParseDecimal(text).has_value() == (number.size() == text.size()), "nothing may be left over");
  CheckFormats(prefix->value);
}

void CheckEncodings(std::string_view text) {
  Require(AnsiFromUtf8(Utf8FromAnsi(text)) == text, "every byte survives UTF-8");
  Require(AnsiFromUtf16(Utf16FromAnsi(text)) == text, "every byte survives UTF-16");
  Require(AnsiFromUtf8(text).size() <= text.size(), "a text does not grow out of UTF-8");
  Require(EqualIgnoringCase(text, AsciiUpper(text)), "case does not matter");
  std::size_t in_words = 0;
  for (const std::string_view word : SplitWords(text, kBlanks)) {
    Require(!word.empty() && Trimmed(word) == word, "a word has no blanks");
    in_words += word.size();
  }
  Require(in_words <= Trimmed(text).size(), "words stand inside the trimmed text");
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ulix::CheckPrefix(ulix::TextOfInput(data, size));
  ulix::CheckEncodings(ulix::TextOfInput(data, size));
  if (size >= sizeof(double)) {
    std::array<std::uint8_t, sizeof(double)> bytes;
    std::copy_n(data, bytes.size(), bytes.begin());
    const auto value = std::bit_cast<double>(bytes);
    if (std::isfinite(value)) ulix::CheckFormats(value);
  }
  return 0;
}

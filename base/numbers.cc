#include "base/numbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>

#include "base/text.h"

namespace ulix {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The longest run at `text` that is a number without sign; 0 when none begins there.
std::size_t UnsignedNumberLength(std::string_view text) {
  std::size_t at = 0;
  std::size_t digits = 0;
  const auto take_digits = [&] {
    for (; at < text.size() && IsDigit(text[at]); ++at) ++digits;
  };
  take_digits();
  if (at < text.size() && text[at] == '.') {
    ++at;
    take_digits();
  }
  if (digits == 0) return 0;
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    std::size_t exponent = at + 1;
    if (exponent < text.size() && (text[exponent] == '+' || text[exponent] == '-')) ++exponent;
    if (exponent < text.size() && IsDigit(text[exponent])) {
      at = exponent;
      take_digits();
    }
  }
  return at;
}

// Which of the two a number outside the range of doubles is. `number` is well formed and has a digit that is not 0.
bool IsTooSmall(std::string_view number) {
  const std::size_t end = std::min(number.find_first_of("eE"), number.size());
  const std::size_t point = std::min(number.find('.'), end);
  const std::size_t first = number.find_first_not_of("0.");
  // The power of ten of the first digit, but for the exponent; off by one where that does not matter.
  const auto power = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(first);
  if (end == number.size()) return power < 0;
  std::string_view exponent = number.substr(end + 1);
  if (exponent.starts_with('+')) exponent.remove_prefix(1);
  std::int64_t value = 0;
  const auto error = std::from_chars(exponent.data(), exponent.data() + exponent.size(), value).ec;
  return error == std::errc() ? value < -power : exponent.starts_with('-');
}

// `number` is a well-formed unsigned number; from_chars then fails only on its range.
std::optional<double> Convert(std::string_view number) {
  double value = 0;
  const auto error = std::from_chars(number.data(), number.data() + number.size(), value).ec;
  if (error == std::errc()) return value;
  return IsTooSmall(number) ? std::optional(0.0) : std::nullopt;
}

// Room for the widest double in "%f": 309 digits, the sign, the point and the decimals.
using NumberBuffer = std::array<char, 400>;

std::string Format(double value, std::chars_format format, int precision) {
  NumberBuffer buffer;
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, format, precision);
  return error == std::errc() ? std::string(buffer.data(), end) : std::string();
}

}  // namespace

std::optional<DecimalPrefix> ParseDecimalPrefix(std::string_view text) {
  std::size_t at = text.find_first_not_of(kBlanks);
  if (at == std::string_view::npos) return std::nullopt;
  const bool negative = text[at] == '-';
  if (negative || text[at] == '+') ++at;
  const std::size_t length = UnsignedNumberLength(text.substr(at));
  if (length == 0) return std::nullopt;
  const auto value = Convert(text.substr(at, length));
  if (!value) return std::nullopt;
  return DecimalPrefix{negative ? -*value : *value, at + length};
}

std::optional<double> ParseDecimal(std::string_view text) {
  const auto prefix = ParseDecimalPrefix(text);
  if (!prefix || prefix->length != text.size()) return std::nullopt;
  return prefix->value;
}

std::string FormatFixed(double value, int decimals) { return Format(value, std::chars_format::fixed, decimals); }

std::string FormatGeneral(double value, int digits) {
  return AsciiUpper(Format(value, std::chars_format::general, digits));
}

std::string FormatShortest(float value) {
  NumberBuffer buffer;
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  return error == std::errc() ? std::string(buffer.data(), end) : std::string();
}

}  // namespace ulix

#include "base/numbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

#include "base/text.h"

namespace ulix {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The length of the number without sign at the start of `text`; 0 when there is none.
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

// The number of digits before the point of a well-formed unsigned number, with its exponent applied. Below 1 for a
// fraction that begins with zeros.
std::int64_t Magnitude(std::string_view number) {
  const std::size_t exponent = std::min(number.find_first_of("eE"), number.size());
  const std::string_view digits = number.substr(0, exponent);
  const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
  const auto first = static_cast<std::int64_t>(std::min(digits.find_first_of("123456789"), digits.size()));
  constexpr std::int64_t kBeyondAll = 1'000'000'000'000;
  std::int64_t power = 0;
  if (exponent < number.size()) {
    std::string_view text = number.substr(exponent + 1);
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), power);
    if (error != std::errc()) power = text.starts_with('-') ? -kBeyondAll : kBeyondAll;
    power = std::clamp(power, -kBeyondAll, kBeyondAll);
  }
  return power + (first < point ? point - first : point - first + 1);
}

// `number` is a well-formed unsigned number; from_chars then fails only on its range.
double Convert(std::string_view number) {
  double value = 0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (error == std::errc()) return value;
  return Magnitude(number) > 0 ? std::numeric_limits<double>::max() : 0.0;
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
  const double value = Convert(text.substr(at, length));
  return DecimalPrefix{negative ? -value : value, at + length};
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

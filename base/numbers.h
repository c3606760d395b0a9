// Numbers as instruments and programs write them: a point, no locale, the same digits on every runtime.
// Numbers that people type or read are in links/local_number.h.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ulix {

// A number at the start of a text, and how many characters it took (blanks before it included).
struct DecimalPrefix {
  double value;
  std::size_t length;
};

// Reads the decimal number at the start of `text`: leading blanks, a sign, digits with an optional point, an optional
// exponent. Text after it is left alone. Empty when there is no number there; "nan", "inf" and hexadecimal digits are
// never numbers. One that is too large for a double is the largest double, one that is too small is 0.
std::optional<DecimalPrefix> ParseDecimalPrefix(std::string_view text);

// The whole of `text` as one finite number; empty when anything is left over.
std::optional<double> ParseDecimal(std::string_view text);

// As printf's "%f" with the given decimals, for any finite value.
std::string FormatFixed(double value, int decimals = 6);

// As printf's "%G": significant digits without trailing zeros, an exponent of two digits at least.
std::string FormatGeneral(double value, int digits = 6);

// The fewest digits that read back as the same float.
std::string FormatShortest(float value);

}  // namespace ulix

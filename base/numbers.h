// Numbers as instruments and programs write them: with a point, independent of the locale and of the runtime.
// links/local_number.h has the numbers that people type and read.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ulix {

// A number at the start of a text, and its length in characters, leading blanks included.
struct DecimalPrefix {
  double value;
  std::size_t length;
};

// Reads the decimal number at the start of `text`: optional blanks, an optional sign, digits with an optional point, an
// optional exponent. Text after the number is ignored: "12.5 V" gives 12.5 and a length of 4. Empty without a number;
// "nan", "inf" and hexadecimal digits are not numbers. A number too large for a double gives the largest double, one
// too small gives 0.
std::optional<DecimalPrefix> ParseDecimalPrefix(std::string_view text);

// The number that is the whole of `text`; empty when anything follows it.
std::optional<double> ParseDecimal(std::string_view text);

// Writes any finite value as printf's "%.*f" does.
std::string FormatFixed(double value, int decimals = 6);

// Writes as printf's "%.*G" does: significant digits without trailing zeros, an exponent of at least two digits.
std::string FormatGeneral(double value, int digits = 6);

// Writes the fewest digits that read back as the same float.
std::string FormatShortest(float value);

}  // namespace ulix

// Numbers and texts with the user's decimal separator. For what people type and read, never for an instrument.
#pragma once

#include <optional>
#include <string>

namespace ulix {

// The user's separator, asked of the system once per process.
char LocalDecimalSeparator();
// Replaces it by the separator that the user chose; none: the system is asked again at the next use.
void SetLocalDecimalSeparator(std::optional<char> separator);

// Replace every `from` by the separator, and every separator by `to`. The first forms work on a zero-terminated buffer.
void ToLocalDecimal(char* text, char from);
void FromLocalDecimal(char* text, char to);
std::string ToLocalDecimal(std::string text, char from);
std::string FromLocalDecimal(std::string text, char to);

// A number typed by the user, limited to the range. Only the first 79 characters count. An empty text is 0. A text that
// is not a number alone (a blank behind it, "nan", hexadecimal) is the minimum. With a minimum above the maximum every
// text is the minimum.
double ParseLocalNumber(const std::string& text, double maximum, double minimum);

// A number typed with the user's separator or a point. None for a text that is not a number alone, or for a number that
// is too large for a double.
std::optional<double> TypedNumber(const std::string& text);

// The value with 1 to 15 significant digits, exponent letter upper case.
std::string FormatLocalNumber(double value, unsigned digits);

}  // namespace ulix

// Numbers and texts with the user's decimal separator. For what people type and read, never for an instrument.
#pragma once

#include <optional>
#include <string>

namespace ulix {

// The user's separator, asked of the system once per process.
char LocalDecimalSeparator();
// Another one in its place, for a user who chose one; empty asks the system again at the next use.
void SetLocalDecimalSeparator(std::optional<char> separator);

// Replace every `from` by the separator, and every separator by `to`. The first forms work on a zero-terminated buffer.
void ToLocalDecimal(char* text, char from);
void FromLocalDecimal(char* text, char to);
std::string ToLocalDecimal(std::string text, char from);
std::string FromLocalDecimal(std::string text, char to);

// A number typed by the user, held within the limits. Only the first 79 characters count; an empty text is 0; a text
// with anything left over (a blank, "nan", hexadecimal) is the minimum, and so is any with a minimum above the maximum.
double ParseLocalNumber(const std::string& text, double maximum, double minimum);

// A number typed with the user's separator or a point; none when anything is left over, or when it is too large for a
// double.
std::optional<double> TypedNumber(const std::string& text);

// The value with 1 to 15 significant digits, exponent letter upper case.
std::string FormatLocalNumber(double value, unsigned digits);

}  // namespace ulix

// Numbers and texts with the user's decimal separator. For what people type and read, never for messages of an
// instrument.
#pragma once

#include <optional>
#include <string>

namespace ulix {

// The user's decimal separator. The system is asked once per process. Any thread may call the functions of this header.
char LocalDecimalSeparator();
// Sets the separator that the user chose. None: the system is asked again at the next use.
void SetLocalDecimalSeparator(std::optional<char> separator);

// ToLocalDecimal replaces every `from` by the separator, FromLocalDecimal every separator by `to`. The forms with
// `char*` change a zero-terminated buffer in place.
void ToLocalDecimal(char* text, char from);
void FromLocalDecimal(char* text, char to);
std::string ToLocalDecimal(std::string text, char from);
std::string FromLocalDecimal(std::string text, char to);

// A number typed by the user, limited to the range from `minimum` to `maximum`. Only the first 79 characters count. An
// empty text counts as 0. A text that is not exactly one number (a blank after it, "nan", hexadecimal) gives the
// minimum. If the minimum is above the maximum, every text gives the minimum.
double ParseLocalNumber(const std::string& text, double maximum, double minimum);

// A number typed with the user's separator or a point. None for a text that is not exactly one number, or for a number
// that is too large for a double.
std::optional<double> TypedNumber(const std::string& text);

// The value with `digits` significant digits (1 to 15) and the user's separator. The letter of an exponent is upper
// case.
std::string FormatLocalNumber(double value, unsigned digits);

}  // namespace ulix

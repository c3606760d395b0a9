// The number in a field of an instrument's reply. When the field holds anything else than the instrument's protocol
// puts there, the reply is damaged or belongs to another query, and the field has no value.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace ulix {

// What a protocol may put after the number of a field. Blanks, tabs, CR and LF are always allowed at both ends.
struct FieldForm {
  enum class Behind {
    kNothing,
    kUnit,  // One word without digits, as in "12.25 V".
    kText,  // Any printable text that does not continue the number.
  };
  Behind behind = Behind::kNothing;
  // At least one of these characters separates the number from the unit or text.
  std::string_view separators = " \t";
  // Units that may also follow the number directly, as in "12.25V", in upper or lower case.
  std::span<const std::string_view> joined_units = {};
};

struct FieldNumber {
  double value = 0;       // Within the range of a float.
  std::string_view unit;  // The unit or text after the number, without blanks. Refers to the parsed field.
};

// The number of a whole field. Empty without a number, when a float cannot hold it, and when the field holds a control
// character, a zero byte included, or anything that `form` does not allow.
std::optional<FieldNumber> ParseField(std::string_view field, const FieldForm& form = {});

// The value of ParseField.
std::optional<float> ParseFloatField(std::string_view field, const FieldForm& form = {});
std::optional<double> ParseDoubleField(std::string_view field, const FieldForm& form = {});

// Whether a number stands for "no value". SCPI instruments send 9.9E37 of either sign for an overload, and 9.91E37 for
// a missing value.
bool IsOverload(double value);

// Whether a text has no control characters except blanks and line ends. A zero byte is a control character.
bool IsPlainText(std::string_view text);

// Whether a line that filled its buffer may have been cut inside a number: it ends like a number, or holds only blanks.
// `limit` is the longest line that the buffer holds, without its terminator.
bool MayCutNumber(std::string_view line, std::size_t limit);

}  // namespace ulix

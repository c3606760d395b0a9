// The number in a field of an instrument's reply. What stands around a number belongs to the reply: where that is
// anything but what the instrument's protocol puts there, the reply is damaged or another query's, and has no value.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace ulix {

// What a protocol may put behind the number of a field. Blanks, tabs, CR and LF may stand around everything.
struct FieldForm {
  enum class Behind {
    kNothing,
    kUnit,  // one word without digits, as in "12.25 V"
    kText,  // anything printable that does not go on like a number
  };
  Behind behind = Behind::kNothing;
  // Of these at least one stands before what is behind.
  std::string_view separators = " \t";
  // Units that may also follow the number directly, as in "12.25V"; in any case of their letters.
  std::span<const std::string_view> joined_units = {};
};

struct FieldNumber {
  double value = 0;       // within the range of a float
  std::string_view unit;  // what stands behind it, without blanks around
};

// The number of a whole field. Empty when there is none, when a float cannot hold it, and when the field holds a zero
// byte or another control character, or anything that `form` does not allow.
std::optional<FieldNumber> ParseField(std::string_view field, const FieldForm& form = {});

// The same where only the value is wanted.
std::optional<float> ParseFloatField(std::string_view field, const FieldForm& form = {});

// Whether a text has no control characters but blanks and line ends. A zero byte is one.
bool IsPlainText(std::string_view text);

// Whether a line that filled the room it was read into may have been cut inside a number: it ends like one, or holds
// nothing but blanks yet. `limit` is the longest line that is read, without its terminator.
bool MayCutNumber(std::string_view line, std::size_t limit);

}  // namespace ulix

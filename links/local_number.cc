#include "links/local_number.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>

#include "base/numbers.h"
#include "platform/user_locale.h"

namespace ulix {
namespace {

constexpr std::size_t kLongestTypedNumber = 79;
constexpr unsigned kMaxDigits = 15;

// `cached_separator` holds the separator's byte, or kNotAsked until the system was asked.
constexpr int kNotAsked = -1;
std::atomic<int> cached_separator = kNotAsked;

}  // namespace

char LocalDecimalSeparator() {
  int cached = cached_separator;
  if (cached == kNotAsked) {
    const int asked = static_cast<unsigned char>(platform::UserDecimalSeparator());
    if (cached_separator.compare_exchange_strong(cached, asked)) cached = asked;
  }
  return static_cast<char>(cached);
}

void SetLocalDecimalSeparator(std::optional<char> separator) {
  cached_separator = separator ? static_cast<unsigned char>(*separator) : kNotAsked;
}

void ToLocalDecimal(char* text, char from) {
  std::replace(text, text + std::strlen(text), from, LocalDecimalSeparator());
}

void FromLocalDecimal(char* text, char to) {
  std::replace(text, text + std::strlen(text), LocalDecimalSeparator(), to);
}

std::string ToLocalDecimal(std::string text, char from) {
  std::replace(text.begin(), text.end(), from, LocalDecimalSeparator());
  return text;
}

std::string FromLocalDecimal(std::string text, char to) {
  std::replace(text.begin(), text.end(), LocalDecimalSeparator(), to);
  return text;
}

double ParseLocalNumber(const std::string& text, double maximum, double minimum) {
  const std::string typed = FromLocalDecimal(text.substr(0, kLongestTypedNumber), '.');
  const double value = typed.empty() ? 0.0 : ParseDecimal(typed).value_or(minimum);
  return std::max(std::min(value, maximum), minimum);
}

std::optional<double> TypedNumber(const std::string& text) {
  const std::optional<double> value = ParseDecimal(FromLocalDecimal(text, '.'));
  // ParseDecimal gives the largest double for a number that is too large.
  return value && std::abs(*value) < std::numeric_limits<double>::max() ? value : std::nullopt;
}

std::string FormatLocalNumber(double value, unsigned digits) {
  const unsigned kept = std::clamp(digits, 1U, kMaxDigits);
  return ToLocalDecimal(FormatGeneral(value, static_cast<int>(kept)), '.');
}

}  // namespace ulix

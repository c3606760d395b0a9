#include "base/reply_field.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "base/text.h"

namespace ulix {
namespace {

constexpr std::string_view kLineBlanks = " \t\r\n";
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kOfNumbers = "0123456789+-.";

bool IsControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return (byte < 0x20 || byte == 0x7F) && kLineBlanks.find(c) == std::string_view::npos;
}

bool IsUnit(std::string_view text) {
  constexpr std::string_view kNeverInUnits = "0123456789+.,;:=<>?\"\r\n";
  return text.find_first_of(kNeverInUnits) == std::string_view::npos;
}

bool IsText(std::string_view text) {
  constexpr std::string_view kGoesOn = "0123456789+-.,;";
  return kGoesOn.find(text.front()) == std::string_view::npos;
}

bool IsJoinedUnit(std::string_view text, const FieldForm& form) {
  return std::any_of(form.joined_units.begin(), form.joined_units.end(),
                     [&](std::string_view unit) { return EqualIgnoringCase(unit, text); });
}

// Whether `text` may follow a number. It begins with the blanks after the number.
bool Allows(const FieldForm& form, std::string_view text) {
  const std::size_t start = text.find_first_not_of(form.separators);
  if (start == std::string_view::npos) return false;
  if (start == 0) return IsJoinedUnit(text, form);
  text.remove_prefix(start);
  switch (form.behind) {
    case FieldForm::Behind::kUnit:
      return IsUnit(text);
    case FieldForm::Behind::kText:
      return IsText(text);
    default:
      return false;
  }
}

}  // namespace

// As a float, in which a value is delivered.
bool IsOverload(double value) { return std::abs(static_cast<float>(value)) >= 9.9e37F; }

bool IsPlainText(std::string_view text) { return std::none_of(text.begin(), text.end(), IsControl); }

std::optional<FieldNumber> ParseField(std::string_view field, const FieldForm& form) {
  if (!IsPlainText(field)) return std::nullopt;
  const auto number = ParseDecimalPrefix(field);
  if (!number || !std::isfinite(static_cast<float>(number->value))) return std::nullopt;
  field.remove_prefix(number->length);
  field = field.substr(0, field.find_last_not_of(kLineBlanks) + 1);
  if (!field.empty() && !Allows(form, field)) return std::nullopt;
  const std::size_t unit = std::min(field.find_first_not_of(form.separators), field.size());
  return FieldNumber{number->value, field.substr(unit)};
}

std::optional<float> ParseFloatField(std::string_view field, const FieldForm& form) {
  const auto number = ParseField(field, form);
  if (!number) return std::nullopt;
  return static_cast<float>(number->value);
}

std::optional<double> ParseDoubleField(std::string_view field, const FieldForm& form) {
  const auto number = ParseField(field, form);
  return number ? std::optional(number->value) : std::nullopt;
}

bool MayCutNumber(std::string_view line, std::size_t limit) {
  if (line.size() < limit) return false;
  const std::size_t last = line.find_last_not_of(kLineBlanks);
  if (last == std::string_view::npos) return true;
  if (last + 1 < line.size()) return false;
  const bool exponent = EqualIgnoringCase(line.substr(last), "E") && last > 0 &&
                        (kDigits.find(line[last - 1]) != std::string_view::npos || line[last - 1] == '.');
  return exponent || kOfNumbers.find(line[last]) != std::string_view::npos;
}

}  // namespace ulix

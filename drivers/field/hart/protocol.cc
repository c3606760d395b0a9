#include "drivers/field/hart/protocol.h"

#include "base/numbers.h"
#include "base/reply_field.h"
#include "base/rows.h"
#include "base/text.h"
#include "drivers/field/hart/tables.h"

namespace ulix::hart {
namespace {

constexpr int kDecimals = 2;
constexpr std::string_view kOfNumbers = "0123456789.-";

// Whether a reply contains the number on its own, and not as a part of another one, such as 3.00 in 23.00, -3.00 or
// 3.004.
bool Contains(std::string_view reply, std::string_view number) {
  for (auto at = reply.find(number); at != reply.npos; at = reply.find(number, at + 1)) {
    const std::string_view behind = reply.substr(at + number.size(), 1);
    const bool begins = at == 0 || kOfNumbers.find(reply[at - 1]) == kOfNumbers.npos;
    if (begins && (behind.empty() || kOfNumbers.find(behind) == kOfNumbers.npos)) return true;
  }
  return false;
}

const char* UnitOf(std::string_view symbol) {
  if (symbol.empty()) return kCelsiusText;
  const UnitRow* row = RowWith(kUnits, &UnitRow::symbol, AsciiUpper(symbol));
  return row ? row->text : "";
}

}  // namespace

std::string SetPointText(float value) { return FormatFixed(value, kDecimals); }

Expected<Measurement> ParseMeasurement(std::string_view reply) {
  static constexpr FieldForm kForm = {.behind = FieldForm::Behind::kUnit, .joined_units = kUnitSymbols};
  const std::size_t colon = reply.find(':');
  const bool readable = colon != reply.npos && IsPlainText(reply) && !MayCutNumber(reply, kLongestReply);
  const auto number = readable ? ParseField(reply.substr(colon + 1), kForm) : std::nullopt;
  if (!number) return Failure(serialCommErrUnableToReadComm);
  return Measurement{static_cast<float>(number->value), UnitOf(number->unit)};
}

Expected<float> ParseValue(std::string_view reply) {
  return ParseMeasurement(reply).map([](const Measurement& measured) { return measured.value; });
}

std::optional<std::string> HeadingOf(std::string_view reply) {
  const std::size_t colon = reply.rfind(':');
  if (colon == reply.npos) return std::nullopt;
  return std::string(Trimmed(reply.substr(0, colon)));
}

bool IsSetPoint(std::string_view heading) {
  const std::string word = AsciiUpper(heading);
  const std::string_view letters =
      std::string_view(word).substr(word.find_last_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") + 1);
  return letters.ends_with('S') || letters.ends_with("SP") || letters.find("SET") != letters.npos;
}

// The unit ends its reply with an extra character, which does not belong to the number.
bool Confirms(std::string_view reply, std::string_view sent) {
  if (!IsPlainText(reply) || MayCutNumber(reply, kLongestReply)) return false;
  if (Contains(reply.substr(0, reply.empty() ? 0 : reply.size() - 1), sent)) return true;
  const auto value = ParseValue(reply);
  // Compared as numbers, because a set point sent as -0.00 may come back as 0.00.
  return value && ParseDecimal(SetPointText(*value)) == ParseDecimal(sent);
}

}  // namespace ulix::hart

#include "drivers/others/adt761/protocol.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "base/numbers.h"
#include "base/reply_field.h"
#include "base/rows.h"
#include "base/text.h"

namespace ulix::adt761 {
namespace {

constexpr std::string_view kAgreed = "F";
constexpr std::string_view kRefused = "E";

// The fields of an answer. Field 0 is the part before the first colon.
std::vector<std::string_view> FieldsOf(std::string_view answer) { return SplitFields(answer, ':'); }

std::string_view NameIn(std::string_view query) { return query.substr(query.rfind(':') + 1); }

// Whether a word is the name of another query, whose answer came late.
bool NamesAnother(std::string_view word, std::string_view name) {
  if (word.empty() || word == name) return false;
  const auto asks = [&](const char* query) { return query && NameIn(query) == word; };
  return asks(kMeasuredItemQuery) || asks(kSourcedItemQuery) ||
         std::any_of(kReadings.begin(), kReadings.end(), [&](const Channel& channel) { return asks(channel.query); }) ||
         std::any_of(kItems.begin(), kItems.end(), [&](const Item& item) { return asks(item.pressure_query); });
}

// Whether an answer is exactly one frame. A second frame after it would look like more fields of the first one.
bool IsOneFrame(const std::vector<std::string_view>& fields) {
  const auto starts_frame = [](std::string_view field) { return field == kAgreed || field == kRefused; };
  return fields.size() >= 2 && fields[0].empty() && std::none_of(fields.begin() + 2, fields.end(), starts_frame);
}

// The index of the field with the value. None if the fields do not have the expected form: an extra separator would
// split one number into two.
std::optional<std::size_t> PlaceOfValue(const std::vector<std::string_view>& fields, std::string_view name,
                                        AnswerForm form) {
  const auto place_if = [](bool fits, std::size_t place) { return fits ? std::optional(place) : std::nullopt; };
  if (form == AnswerForm::kSecond) return place_if(fields.size() == 3, 2);
  if (form == AnswerForm::kNamed) return place_if(fields.size() == 4 && fields[2] == name, 3);
  if (fields.size() < 4) return std::nullopt;
  const auto is_number = [](std::string_view field) { return ParseField(field).has_value(); };
  return place_if(std::none_of(fields.begin() + 2, fields.end() - 2, is_number), fields.size() - 2);
}

}  // namespace

Introduction ParseIntroduction(std::string_view answer) {
  const auto fields = FieldsOf(answer);
  if (FieldAt(fields, 1) == kRefused) return Introduction::kRefused;
  const bool is = FieldAt(fields, 1) == kAgreed && FieldAt(fields, 2) == "OTYPE" && FieldAt(fields, 3) == "Additel 761";
  return is ? Introduction::kAdt761 : Introduction::kOther;
}

bool SaysNothing(std::string_view answer) {
  const auto fields = FieldsOf(answer);
  const auto is_none = [](std::string_view field) { return Trimmed(field) == "NaN"; };
  return FieldAt(fields, 1) == kRefused || std::any_of(fields.begin(), fields.end(), is_none);
}

const Item& FindItem(std::string_view word) {
  const Item* item = RowWith(kItems, &Item::word, word);
  return item ? *item : kOtherItem;
}

// Finds a unit by its word. The words for columns of mercury and water may be longer than the unit ("MMHG", "INH2O4").
// Inches come first, because "INHG" contains "HG" and "INH2O" contains "H2O".
const Unit& FindUnit(std::string_view word) {
  if (const Unit* unit = RowWith(kUnits, &Unit::word, word)) return *unit;
  for (const std::string_view column : {"INHG", "HG", "INH2O", "H2O"}) {
    if (word.find(column) != std::string_view::npos) return *RowWith(kUnits, &Unit::word, column);
  }
  return kNoUnit;
}

Expected<std::vector<std::string_view>> Accepted(std::string_view answer, std::string_view query) {
  auto fields = FieldsOf(answer);
  const bool agreed = FieldAt(fields, 1) == kAgreed && !NamesAnother(FieldAt(fields, 2), NameIn(query));
  if (!agreed || !IsOneFrame(fields) || !IsPlainText(answer)) return Failure(adt761CtlErrNoMeasAvailable);
  return fields;
}

Expected<Item> ParseItem(std::string_view answer) {
  const auto fields = Accepted(answer, kMeasuredItemQuery);
  if (!fields) return Failure(fields.error());
  const std::string_view word = fields->back();
  if (fields->size() < 3 || word.empty() || word == NameIn(kMeasuredItemQuery)) {
    return Failure(adt761CtlErrNoMeasAvailable);
  }
  return FindItem(word);
}

bool Provides(const Item& item, ChannelId channel) {
  if (channel == kAtmosphereChannel) return item.quantity != Quantity::kSwitch;
  return channel == kPressureChannel || item.quantity == kReadings[channel].quantity;
}

Expected<Measurement> ParseReading(std::string_view answer, std::string_view query, const Channel& channel) {
  const auto fields = Accepted(answer, query);
  if (!fields) return Failure(fields.error());
  const auto place = PlaceOfValue(*fields, NameIn(query), channel.form);
  const auto value = place ? ParseFloatField((*fields)[*place]) : std::nullopt;
  if (!value || IsOverload(*value)) return Failure(adt761CtlErrNoMeasAvailable);
  if (channel.form != AnswerForm::kMeasured) return Measurement{*value, nullptr};
  const Unit& unit = FindUnit(Trimmed(fields->back()));
  return Measurement{*value, unit.quantity == channel.quantity ? &unit : &kNoUnit};
}

const Write* FindWrite(ChannelId channel) { return RowWith(kWrites, &Write::channel, channel); }

Expected<std::string> WriteCommand(const Write& write, float value) {
  if (!std::isfinite(value)) return Failure(adt761CtlErrOutOfRange);
  if (write.decimals == 0) return std::string(write.command) + (value != 0.0F ? '1' : '0');
  return write.command + FormatFixed(value, write.decimals);
}

}  // namespace ulix::adt761

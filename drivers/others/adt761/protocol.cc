#include "drivers/others/adt761/protocol.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "base/numbers.h"

namespace ulix::adt761 {
namespace {

constexpr std::string_view kAgreed = "F";
constexpr std::string_view kRefused = "E";

// The part before the first colon is field 0.
std::vector<std::string_view> FieldsOf(std::string_view answer) {
  std::vector<std::string_view> fields;
  for (;;) {
    const std::size_t colon = answer.find(':');
    fields.push_back(answer.substr(0, colon));
    if (colon == std::string_view::npos) return fields;
    answer.remove_prefix(colon + 1);
  }
}

std::string_view FieldAt(const std::vector<std::string_view>& fields, std::size_t index) {
  return index < fields.size() ? fields[index] : std::string_view();
}

std::string_view NameIn(std::string_view query) { return query.substr(query.rfind(':') + 1); }

// Whether a word is the name of something else that is asked: its answer came late.
bool NamesAnother(std::string_view word, std::string_view name) {
  if (word.empty() || word == name) return false;
  const auto asks = [&](const char* query) { return query && NameIn(query) == word; };
  return asks(kMeasuredItemQuery) || asks(kSourcedItemQuery) ||
         std::any_of(kReadings.begin(), kReadings.end(), [&](const Channel& channel) { return asks(channel.query); }) ||
         std::any_of(kItems.begin(), kItems.end(), [&](const Item& item) { return asks(item.pressure_query); });
}

// The row whose word it is, else the one with the longest word in it: "KPA" has "PA" in it.
template <typename Row>
const Row* FindWord(std::span<const Row> rows, std::string_view text) {
  const Row* best = nullptr;
  std::size_t length = 0;
  for (const Row& row : rows) {
    const std::string_view word = row.word;
    if (word == text) return &row;
    if (text.find(word) == std::string_view::npos || word.size() <= length) continue;
    best = &row;
    length = word.size();
  }
  return best;
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
  const Item* item = FindWord<Item>(kItems, word);
  return item ? *item : kOtherItem;
}

const Unit* FindUnit(std::string_view word) { return FindWord<Unit>(kUnits, word); }

Expected<std::vector<std::string_view>> Accepted(std::string_view answer, std::string_view query) {
  auto fields = FieldsOf(answer);
  const bool agreed = FieldAt(fields, 1) == kAgreed && !NamesAnother(FieldAt(fields, 2), NameIn(query));
  if (!agreed) return Failure(adt761CtlErrNoMeasAvailable);
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
  const bool measured = channel.form == AnswerForm::kMeasured;
  const bool misnamed = channel.form == AnswerForm::kNamed && FieldAt(*fields, 2) != NameIn(query);
  if (misnamed || (measured && fields->size() < 4)) return Failure(adt761CtlErrNoMeasAvailable);
  const std::size_t place = measured ? fields->size() - 2 : channel.form == AnswerForm::kNamed ? 3 : 2;
  const auto number = ParseDecimal(Trimmed(FieldAt(*fields, place)));
  const Unit* unit = measured ? FindUnit(fields->back()) : nullptr;
  const bool foreign = unit && channel.quantity != unit->quantity;
  if (!number || foreign || !std::isfinite(static_cast<float>(*number))) return Failure(adt761CtlErrNoMeasAvailable);
  return Measurement{static_cast<float>(*number), unit};
}

const Write* FindWrite(ChannelId channel) {
  const auto found = std::find_if(kWrites.begin(), kWrites.end(), [&](const Write& w) { return w.channel == channel; });
  return found == kWrites.end() ? nullptr : &*found;
}

Expected<std::string> WriteCommand(const Write& write, float value) {
  if (!std::isfinite(value)) return Failure(adt761CtlErrOutOfRange);
  if (write.decimals == 0) return std::string(write.command) + (value != 0.0F ? '1' : '0');
  return write.command + FormatFixed(value, write.decimals);
}

}  // namespace ulix::adt761

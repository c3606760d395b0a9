// Conversions between ADT761 frames and values. Frames are given as texts, without prefix and NUL. Pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "drivers/others/adt761/tables.h"

namespace ulix::adt761 {

// The meaning of the answer to ":R:OTYPE", the identification.
enum class Introduction { kAdt761, kRefused, kOther };
Introduction ParseIntroduction(std::string_view answer);

// Whether the instrument refuses to answer, or has no value.
bool SaysNothing(std::string_view answer);

// Find an item or a unit by its whole word. Units of columns of mercury and water are also found inside a longer word.
// kOtherItem or kNoUnit for any other word.
const Item& FindItem(std::string_view word);
const Unit& FindUnit(std::string_view word);

// The fields of an answer to `query`. adt761CtlErrNoMeasAvailable when the instrument refused, when the answer names
// another query, and when it is not exactly one whole frame.
Expected<std::vector<std::string_view>> Accepted(std::string_view answer, std::string_view query);

// The item in the answer to kMeasuredItemQuery, its last field. adt761CtlErrNoMeasAvailable when there is none.
Expected<Item> ParseItem(std::string_view answer);

// Whether the channel exists while `item` is measured.
bool Provides(const Item& item, ChannelId channel);

struct Measurement {
  float value;
  const Unit* unit;  // kNoUnit for a unit of another quantity; null if answers name no unit
};
// The value of a channel in the answer to `query`. adt761CtlErrNoMeasAvailable when there is none.
Expected<Measurement> ParseReading(std::string_view answer, std::string_view query, const Channel& channel);

// How the channel is set. Null for a channel that cannot be set.
const Write* FindWrite(ChannelId channel);
// The command for a value. adt761CtlErrOutOfRange for a value that is not finite.
Expected<std::string> WriteCommand(const Write& write, float value);

}  // namespace ulix::adt761

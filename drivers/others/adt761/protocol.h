// Between ADT761 frames, as texts without their prefix and NUL, and values. Pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "drivers/others/adt761/tables.h"

namespace ulix::adt761 {

// What the answer to ":R:OTYPE" says.
enum class Introduction { kAdt761, kRefused, kOther };
Introduction ParseIntroduction(std::string_view answer);

// Whether the instrument refuses to answer, or has no value to tell.
bool SaysNothing(std::string_view answer);

// By their whole word. Units of a column of mercury or water are also found inside a longer one. kOtherItem or kNoUnit
// for any other word.
const Item& FindItem(std::string_view word);
const Unit& FindUnit(std::string_view word);

// The fields of an answer that agrees to `query`: adt761CtlErrNoMeasAvailable when the instrument refused, when the
// answer names another question, and when it is not one whole frame.
Expected<std::vector<std::string_view>> Accepted(std::string_view answer, std::string_view query);

// The item that the answer to kMeasuredItemQuery tells, its last field. adt761CtlErrNoMeasAvailable when there is none.
Expected<Item> ParseItem(std::string_view answer);

// Whether the channel is there while `item` is measured.
bool Provides(const Item& item, ChannelId channel);

struct Measurement {
  float value;
  const Unit* unit;  // kNoUnit for one that is not of the channel's quantity; null where answers tell none
};
// A channel's value in the answer to `query`; adt761CtlErrNoMeasAvailable when there is none.
Expected<Measurement> ParseReading(std::string_view answer, std::string_view query, const Channel& channel);

// How the channel is set; null for one that is not.
const Write* FindWrite(ChannelId channel);
// adt761CtlErrOutOfRange for what is no finite number.
Expected<std::string> WriteCommand(const Write& write, float value);

}  // namespace ulix::adt761

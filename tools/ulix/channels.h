// The channels of an instrument, as the command line shows them and as users name them.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/measured.h"
#include "drivers/model_card.h"

namespace ulix::cli {

inline constexpr int kShortest = -1;  // A resolution: the fewest decimals that read back as the same value.

// Texts in UTF-8.
struct Channel {
  ChannelId id = 0;
  std::string name;
  eChanDir direction = ChanIn;
  std::string unit;
  int resolution = kUnknownResolution;  // Decimals.
  bool offered = true;                  // The instrument has the channel with its present settings.
  bool on = true;                       // The channel is switched on.
};

// A channel in a logger's records of which only the number is known.
Channel LoggerChannel(ChannelId id);

// The channel of `known` with this id, or LoggerChannel(id) if there is none.
Channel ChannelOf(std::span<const Channel> known, ChannelId id);

// "in", "out" or "in/out".
const char* DirectionWord(eChanDir direction);

// The reason of a doubt in English, for scripts; empty without a doubt.
const char* DoubtText(Doubt doubt);
// The mark after a value in tables and lines: "?" for a doubtful value.
const char* DoubtMark(Doubt doubt);

// The value with the channel's decimals and a point.
std::string FormatValue(const Channel& channel, float value);
// The value as FormatValue gives it, then the unit.
std::string FormatWithUnit(const Channel& channel, float value);

// The channels that the user named, by id or by name in upper or lower case, in that order and each once. Without
// names: every input channel that the instrument has and that is on. UsageError for an unknown channel, for an output,
// and where there is no input.
std::vector<Channel> SelectInputs(std::span<const Channel> channels, std::span<const std::string> asked);
// The channel that the user named. UsageError when it is unknown or cannot be written.
Channel SelectOutput(std::span<const Channel> channels, const std::string& asked);

}  // namespace ulix::cli

// The channels of an instrument as the command line shows them and as the user names them.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/measured.h"
#include "drivers/model_card.h"

namespace ulix::cli {

inline constexpr int kShortest = -1;  // as many decimals as tell a value from every other

// Texts in UTF-8.
struct Channel {
  ChannelId id = 0;
  std::string name;
  eChanDir direction = ChanIn;
  std::string unit;
  int resolution = 6;   // decimals
  bool offered = true;  // whether the instrument has it, the way it is set
  bool on = true;       // whether it measures, the way it is set
};

// A channel of which its records tell no more than the number.
Channel LoggerChannel(ChannelId id);

// The one of `known` with this id; LoggerChannel where there is none.
Channel ChannelOf(std::span<const Channel> known, ChannelId id);

// "in", "out" or "in/out".
const char* DirectionWord(eChanDir direction);

// Why a value is doubtful, for scripts, in English; empty where it is not.
const char* DoubtText(Doubt doubt);
// What stands behind a value in tables and lines: "?" where it is doubtful.
const char* DoubtMark(Doubt doubt);

// The value with the channel's decimals and a point.
std::string FormatValue(const Channel& channel, float value);
// The same with the unit behind it.
std::string FormatWithUnit(const Channel& channel, float value);

// The channels that the user asked for, by id or by name in any case, in that order and each once; every input channel
// on offer and on when none was asked for. UsageError for one that is not there or that is an output only.
std::vector<Channel> SelectInputs(std::span<const Channel> channels, std::span<const std::string> asked);
// One channel that can be written.
Channel SelectOutput(std::span<const Channel> channels, const std::string& asked);

}  // namespace ulix::cli

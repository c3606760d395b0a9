#include "tools/ulix/channels.h"

#include <algorithm>
#include <cmath>

#include "base/numbers.h"
#include "base/text.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/suggestion.h"
#include "tools/ulix/texts.h"

namespace ulix::cli {
namespace {

std::string NamesOf(std::span<const Channel> channels) {
  std::string names;
  for (const Channel& channel : channels) {
    if (!names.empty()) names += ", ";
    names += std::to_string(channel.id) + " " + channel.name;
  }
  return names;
}

const Channel& Find(std::span<const Channel> channels, const std::string& asked) {
  const auto by_id = [&](const Channel& channel) { return std::to_string(channel.id) == asked; };
  const auto by_name = [&](const Channel& channel) { return EqualIgnoringCase(channel.name, asked); };
  auto found = std::find_if(channels.begin(), channels.end(), by_id);
  if (found == channels.end()) found = std::find_if(channels.begin(), channels.end(), by_name);
  if (found != channels.end()) return *found;
  std::vector<std::string> names;
  for (const Channel& channel : channels) names.push_back(channel.name);
  throw UsageError("CHANNEL", Shown(TextId::kNotAChannel, {asked, NamesOf(channels)}) + DidYouMean(asked, names));
}

}  // namespace

const char* DirectionWord(eChanDir direction) {
  if (direction == ChanIO) return "in/out";
  return direction == ChanIn ? "in" : "out";
}

const char* DoubtText(Doubt doubt) {
  if (doubt == Doubt::kNoNumber) return "no number in the reply";
  return doubt == Doubt::kNoValue ? "a warning in place of a value; this is the one before" : "";
}

const char* DoubtMark(Doubt doubt) { return doubt == Doubt::kNone ? "" : "?"; }

Channel LoggerChannel(ChannelId id) {
  return {id, "CH" + std::to_string(static_cast<std::int32_t>(id) + 1), ChanIn, "", kShortest};
}

Channel ChannelOf(std::span<const Channel> known, ChannelId id) {
  const auto found =
      std::find_if(known.begin(), known.end(), [id](const Channel& channel) { return channel.id == id; });
  return found == known.end() ? LoggerChannel(id) : *found;
}

// A float has seven significant digits: the decimals are limited to those.
std::string FormatValue(const Channel& channel, float value) {
  constexpr int kDigits = 7;
  if (channel.resolution == kShortest) return FormatShortest(value);
  const double size = std::abs(static_cast<double>(value));
  const int before_point = size < 1 || !std::isfinite(size) ? 1 : static_cast<int>(std::floor(std::log10(size))) + 1;
  return FormatFixed(value, std::clamp(kDigits - before_point, 0, channel.resolution));
}

std::string FormatWithUnit(const Channel& channel, float value) {
  return channel.unit.empty() ? FormatValue(channel, value) : FormatValue(channel, value) + " " + channel.unit;
}

std::vector<Channel> SelectInputs(std::span<const Channel> channels, std::span<const std::string> asked) {
  std::vector<Channel> selected;
  if (asked.empty()) {
    std::copy_if(channels.begin(), channels.end(), std::back_inserter(selected),
                 [](const Channel& channel) { return channel.offered && channel.on && channel.direction != ChanOut; });
  }
  for (const std::string& text : asked) {
    const Channel& channel = Find(channels, text);
    if (channel.direction == ChanOut) throw UsageError("CHANNEL", Shown(TextId::kIsOutput, {channel.name}));
    const bool again =
        std::any_of(selected.begin(), selected.end(), [&](const Channel& c) { return c.id == channel.id; });
    if (!again) selected.push_back(channel);
  }
  if (selected.empty()) throw UsageError("CHANNEL", Shown(TextId::kNoInput));
  return selected;
}

Channel SelectOutput(std::span<const Channel> channels, const std::string& asked) {
  const Channel& channel = Find(channels, asked);
  if (channel.direction == ChanIn) throw UsageError("CHANNEL", Shown(TextId::kIsInput, {channel.name}));
  return channel;
}

}  // namespace ulix::cli

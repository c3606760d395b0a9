// Between lines of the microK and milliK and values. Pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "drivers/others/microk/tables.h"

namespace ulix::microk {

// What one channel measures; codes of the tables, a code outside its table is held as it is.
struct ChannelConfig {
  std::uint32_t enabled = 0;
  std::uint32_t kind = kResistance;
  std::uint32_t sub_kind = kStandard;
  std::uint32_t unit = kCelsius;
  std::uint32_t range = 0;
  std::uint32_t current = 0;
  std::uint32_t wiring = kFourWires;
  std::uint32_t junction = 0;
  std::string probe;  // name of the user probe, with kUserProbe

  // Whether the measurement goes through a probe of the instrument's database.
  bool NeedsProbe() const;
};

Model ModelIn(const std::vector<StoredValue>& record);
// Of kNoKind for an id that is no channel.
ChannelConfig ConfigIn(const std::vector<StoredValue>& record, ChannelId id);

// Whether the reply to "*IDN?" comes from such an instrument.
bool IsOf(Model model, std::string_view reply);
// Whether a line ends with the reply to "*IDN?". `known` is the one of this connection: the model's word alone does not
// tell it, since a probe's name may hold that too. Empty before the first one, when the word has to do.
bool IsIdentification(Model model, std::string_view reply, std::string_view known);
// The software version that the reply names; none when it names none.
std::optional<double> VersionIn(Model model, std::string_view reply);
// Whether the milliK is put in remote mode: its reply goes on behind a comma.
bool TakesRemote(std::string_view reply);

// "read12?": the whole query of a microK.
std::string ReadQuery(ChannelId id);
// The milliK's query of a channel. `probe` is the number of its user probe, 0 for one that is not in the database:
// microkCtlErrUserProbeNotFound. A code outside its table is microkCtlErrBadInternalChanConfig.
Expected<std::string> MeasureQuery(ChannelId id, const ChannelConfig& config, std::uint32_t probe);

// The value of a reply: a number alone, or with a unit behind a blank or a comma. serialCommErrUnableToReadComm for
// anything else, for a number that a float cannot hold, and for a reply that filled its room.
inline constexpr int kReplySize = 80;  // the terminator's place included
Expected<float> ParseMicrokReply(std::string_view reply);
// Also microkCtlErrScpiCmdeError for a command that the instrument rejected.
Expected<float> ParseMillikReply(std::string_view reply);
// The number of probes in the database; the errors of ParseMillikReply.
Expected<std::uint32_t> ParseProbeCount(std::string_view reply);
// A name of the database, without quotes around it; microkCtlErrScpiCmdeError for a command that was rejected,
// serialCommErrUnableToReadComm for a name with control characters or one that was cut.
Expected<std::string> ParseProbeName(std::string_view reply);

// Of what a channel measures; "" and 6 for a code that is none.
std::string UnitOf(const ChannelConfig& config);
int ResolutionOf(const ChannelConfig& config);

}  // namespace ulix::microk

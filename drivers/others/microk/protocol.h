// Conversions between lines of the microK and milliK and values. Pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "drivers/others/microk/tables.h"

namespace ulix::microk {

// What one channel measures, as codes of the tables. A code outside its table is stored unchanged.
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

  // Whether the measurement uses a probe of the instrument's database.
  bool NeedsProbe() const;
};

Model ModelIn(const std::vector<StoredValue>& record);
// The configuration of a channel; its kind is kNoKind for an unknown channel.
ChannelConfig ConfigIn(const std::vector<StoredValue>& record, ChannelId id);

// Whether a reply to "*IDN?" comes from an instrument of this model.
bool IsOf(Model model, std::string_view reply);
// Whether a line ends with the identification. `known` is the identification of this connection, or empty before the
// first one. With `known` the line must end with it, because the model's word alone may also be in a probe's name. If
// `known` has no version, it may itself be a probe's name, and an identification with a version is accepted too.
bool IsIdentification(Model model, std::string_view reply, std::string_view known);
// The software version in the reply; none if it has none.
std::optional<double> VersionIn(Model model, std::string_view reply);
// Whether the milliK is to be switched to remote mode: its reply continues after a comma.
bool TakesRemote(std::string_view reply);

// The query of a microK: "read12?".
std::string ReadQuery(ChannelId id);
// The query of a milliK for a channel. `probe` is the number of its user probe. microkCtlErrUserProbeNotFound if a
// probe is needed and `probe` is 0, which means that it is not in the database. microkCtlErrBadInternalChanConfig for a
// code outside its table.
Expected<std::string> MeasureQuery(ChannelId id, const ChannelConfig& config, std::uint32_t probe);

// Parses a value of a microK: a number, alone or followed by a blank or a comma and a unit.
// microkCtlErrMeasureNotAvailable for a reply with "not enabled" or "not valid", and for an overload.
// serialCommErrUnableToReadComm for anything else, for a number that a float cannot hold, and for a reply that filled
// the buffer.
inline constexpr int kReplySize = 80;  // in bytes, including the terminator
Expected<float> ParseMicrokReply(std::string_view reply);
// Parses a value of a milliK. microkCtlErrScpiCmdeError if the instrument rejected the command,
// microkCtlErrMeasureNotAvailable for an overload, else serialCommErrUnableToReadComm as for a microK.
Expected<float> ParseMillikReply(std::string_view reply);
// The number of probes in the database. Errors as ParseMillikReply.
Expected<std::uint32_t> ParseProbeCount(std::string_view reply);
// A name in the database, without its quotes. microkCtlErrScpiCmdeError for a rejected command,
// serialCommErrUnableToReadComm for a name that was cut or has control characters.
Expected<std::string> ParseProbeName(std::string_view reply);

// Unit and decimals of a channel; "" and 6 for an unknown code.
std::string UnitOf(const ChannelConfig& config);
int ResolutionOf(const ChannelConfig& config);

}  // namespace ulix::microk

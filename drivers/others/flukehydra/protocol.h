// Conversions between lines of the Fluke Hydra and values. Pure functions. Lines are given without their line feed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "drivers/model_card.h"

namespace ulix::flukehydra {

// The line without the carriage return that ends it.
std::string_view WithoutReturn(std::string_view line);

// Whether an identification is that of a data bucket, such as "FLUKE,2635A,0,M2.41 A4.7 D1.0 L1.2".
bool IsHydra(std::string_view identification);

// Whether a line is a prompt. Every answer ends with a line that is a prompt: ready, not understood, or not possible.
bool IsPrompt(std::string_view line);
// Whether a line is what may remain of a ready prompt after a purge: "=>", ">" or nothing.
bool IsEndOfReady(std::string_view line);
// Whether a prompt reports a failure: not understood or not possible. IsImpossible is for the second one only. Both
// look only at the start of the prompt.
bool IsRefusal(std::string_view prompt);
bool IsImpossible(std::string_view prompt);

// The codes of a refusal that comes in place of a result.
struct Refusals {
  HRESULT not_understood;  // "=?"
  HRESULT not_possible;    // "=!"
};
// The code of a refusal; S_OK for a line that is not a refusal.
HRESULT RefusalIn(std::string_view result, const Refusals& refusals);

struct ChannelConfig {
  std::uint32_t function = 0;
  std::uint32_t range = 0;

  bool operator==(const ChannelConfig&) const = default;
};

ChannelConfig ChannelIn(const std::vector<StoredValue>& values, ChannelId channel);
void PutChannel(std::vector<StoredValue>& values, ChannelId channel, const ChannelConfig& config);

// The factor for a channel's values. flukehydraCtlErrNack for a range that the function does not have.
Expected<double> ScaleOf(const ChannelConfig& config);

// Parses the result of "LAST?" and multiplies it by `scale`. A blank or comma and a unit may follow the number.
// flukehydraCtlErrOutOfRange for an overload, flukehydraCtlErrOtc for an open thermocouple,
// serialCommErrUnableToReadComm for anything that is not a number or does not fit a float.
Expected<float> ParseLast(std::string_view result, double scale);

// Parse the results of configuration queries. flukehydraCtlErrNack for a result that is not understood.
Expected<ChannelConfig> ParseFunction(std::string_view result);                        // VDC,2  TEMP,K  OFF
Expected<std::uint32_t> ParseNumber(std::string_view result, std::uint32_t greatest);  // one whole number
Expected<std::uint32_t> ParseInterval(std::string_view result);                        // 0,1,30 or OFF, as seconds

// Unit and decimals of a channel. "" and 6 if the function is off or unknown. `unit` is the code of the temperature
// unit.
std::string UnitOf(const ChannelConfig& config, std::uint32_t unit);
int ResolutionOf(const ChannelConfig& config);

}  // namespace ulix::flukehydra

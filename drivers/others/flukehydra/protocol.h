// The Fluke Hydra's lines: pure functions between text and values. A line is given without its line feed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "drivers/model_card.h"

namespace ulix::flukehydra {

// The line without the carriage return that ends it.
std::string_view WithoutReturn(std::string_view line);

// Whether an identification comes from a data bucket: FLUKE,2635A,0,M2.41 A4.7 D1.0 L1.2
bool IsHydra(std::string_view identification);

// Every answer ends in a prompt of its own line: ready, not understood, not possible.
bool IsPrompt(std::string_view line);
// Whether it is what a purge may leave of a prompt that was coming in: "=>", ">" or nothing.
bool IsEndOfReady(std::string_view line);
// Whether a prompt tells of a failure; one that ends a query's answer is told by its start alone.
bool IsRefusal(std::string_view prompt);
bool IsImpossible(std::string_view prompt);

// What a refusal in the place of a result means.
struct Refusals {
  HRESULT not_understood;  // "=?"
  HRESULT not_possible;    // "=!"
};
// S_OK for a line that is no refusal.
HRESULT RefusalIn(std::string_view result, const Refusals& refusals);

struct ChannelConfig {
  std::uint32_t function = 0;
  std::uint32_t range = 0;

  bool operator==(const ChannelConfig&) const = default;
};

ChannelConfig ChannelIn(const std::vector<StoredValue>& values, ChannelId channel);
void PutChannel(std::vector<StoredValue>& values, ChannelId channel, const ChannelConfig& config);

// What a told value is multiplied by. A range that its function does not have is flukehydraCtlErrNack.
Expected<double> ScaleOf(const ChannelConfig& config);

// The value of a "LAST?" result, scaled; a unit may follow it behind a blank or a comma. Overload is
// flukehydraCtlErrOutOfRange, an open thermocouple flukehydraCtlErrOtc; what is no number, or none that fits a float,
// is serialCommErrUnableToReadComm.
Expected<float> ParseLast(std::string_view result, double scale);

// The results of the configuration queries; one that is not understood is flukehydraCtlErrNack.
Expected<ChannelConfig> ParseFunction(std::string_view result);                        // VDC,2  TEMP,K  OFF
Expected<std::uint32_t> ParseNumber(std::string_view result, std::uint32_t greatest);  // one whole number
Expected<std::uint32_t> ParseInterval(std::string_view result);                        // 0,1,30 or OFF, as seconds

// "" and 6 where the function is none or unknown. `unit` is the code of the temperature unit.
std::string UnitOf(const ChannelConfig& config, std::uint32_t unit);
int ResolutionOf(const ChannelConfig& config);

}  // namespace ulix::flukehydra

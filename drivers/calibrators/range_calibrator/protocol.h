// Conversions between command lines of range calibrators and values. Pure functions; each takes the model as an
// argument.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/measured.h"
#include "base/result.h"
#include "drivers/calibrators/range_calibrator/tables.h"

namespace ulix::range_calibrator {

enum class Side { kInput, kOutput };

// The configuration of one side, as codes of the model's tables. A code outside its table is stored unchanged.
struct SideConfig {
  std::uint32_t function = 1;
  std::uint32_t connection = 0;
  std::uint32_t sensor = 0;
  std::uint32_t cold_junction = 0;
  float cold_junction_temperature = 0.0F;

  bool operator==(const SideConfig&) const = default;
};

// Read and change the parts of a configuration record.
SideConfig SideIn(const Model& model, const std::vector<StoredValue>& record, Side side);
void PutSide(const Model& model, std::vector<StoredValue>& record, Side side, const SideConfig& config);
std::uint32_t UnitIn(const Model& model, const std::vector<StoredValue>& record);
void PutUnit(const Model& model, std::vector<StoredValue>& record, std::uint32_t unit);

// The command "RANGE_IN ..." or "RANGE_OUT ...". The model's range_not_supported for a code that is not in its table.
Expected<std::string> RangeCommand(const Model& model, Side side, const SideConfig& config, std::uint32_t unit);

// The content of a configuration reply about one side. `unit` is set if the reply names a unit.
struct RangeReply {
  SideConfig config;
  std::optional<std::uint32_t> unit;
};

// Longest reply in bytes, without its line feed. A longer reply is cut.
inline constexpr std::size_t kLongestReply = 49;

// Parses the reply to "CFG_IN?" or "CFG_OUT?": the words of the range command, in any order and in upper or lower case,
// with or without a header word. If the reply names no connection or sensor, there is none. Missing words of the cold
// junction are taken from `before`. The model's range_not_supported for: an unknown word, a word twice, a temperature
// function without its sensor, the header of the other side, a control character, or a line that may be cut within a
// word.
Expected<RangeReply> ParseRangeReply(const Model& model, Side side, std::string_view reply, const SideConfig& before);

// Parses a "MEAS?" reply: the number at its start. A unit of the family may follow directly, and any text may follow
// after a blank. Deliberate: a reply that does not begin with a number gives 0 with Doubt::kNoNumber, because hosts
// expect it. serialCommErrUnableToReadComm for a control character, for other text directly after the number (12,25),
// for a number that may be cut at the line's limit, and for one that a float cannot hold.
Expected<Measured> ParseMeasure(std::string_view reply);

// The command that sets the output: "OUT 100.099998", with the digits of the float.
std::string OutputCommand(float value);

// Unit and decimals of a function; "" and 6 for an unknown code.
std::string UnitOf(const Model& model, std::uint32_t function, std::uint32_t unit);
int ResolutionOf(const Model& model, std::uint32_t function);

}  // namespace ulix::range_calibrator

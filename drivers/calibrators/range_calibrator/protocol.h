// Between command lines of range calibrators and values. Pure functions, each given its model.
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

// Codes of the model's tables; a code outside its table is held as it is.
struct SideConfig {
  std::uint32_t function = 1;
  std::uint32_t connection = 0;
  std::uint32_t sensor = 0;
  std::uint32_t cold_junction = 0;
  float cold_junction_temperature = 0.0F;

  bool operator==(const SideConfig&) const = default;
};

// Parts of a configuration record.
SideConfig SideIn(const Model& model, const std::vector<StoredValue>& record, Side side);
void PutSide(const Model& model, std::vector<StoredValue>& record, Side side, const SideConfig& config);
std::uint32_t UnitIn(const Model& model, const std::vector<StoredValue>& record);
void PutUnit(const Model& model, std::vector<StoredValue>& record, std::uint32_t unit);

// "RANGE_IN ..." or "RANGE_OUT ...". A code that its table does not have is the model's range_not_supported.
Expected<std::string> RangeCommand(const Model& model, Side side, const SideConfig& config, std::uint32_t unit);

// What a configuration reply says of one side. `unit` is there when the reply names one.
struct RangeReply {
  SideConfig config;
  std::optional<std::uint32_t> unit;
};

// Longest reply, without its line feed. What is longer is cut there.
inline constexpr std::size_t kLongestReply = 49;

// Reads the reply to "CFG_IN?" or "CFG_OUT?": words of the range command in any order, in either case, behind a header
// word or none. A connection or a sensor that the reply does not name is none; what it does not name of the cold
// junction is as in `before`. An unknown word, a word twice, a temperature function without its sensor, the header of
// the other side, a control character, or a line that may be cut in a word is the model's range_not_supported.
Expected<RangeReply> ParseRangeReply(const Model& model, Side side, std::string_view reply, const SideConfig& before);

// The number at the start of a "MEAS?" reply; behind a blank anything may follow it, directly a unit of the family. A
// reply that begins with no number is 0 with Doubt::kNoNumber, as hosts know it. serialCommErrUnableToReadComm: a
// control character, a number that goes on in another way (12,25), that may be cut at the line's limit, or that a float
// cannot hold.
Expected<Measured> ParseMeasure(std::string_view reply);

// "OUT 100.099998": the float's own digits.
std::string OutputCommand(float value);

// Unit and decimals of a function; "" and 6 for a code that is none.
std::string UnitOf(const Model& model, std::uint32_t function, std::uint32_t unit);
int ResolutionOf(const Model& model, std::uint32_t function);

}  // namespace ulix::range_calibrator

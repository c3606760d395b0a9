// Between Kelvo10 command lines and values. Pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "drivers/settings.h"

namespace ulix::kelvo10 {

enum class Side { kInput, kOutput };

// Codes of the tables in tables.h; a code outside its table is held as it is.
struct SideConfig {
  std::uint32_t function = 1;
  std::uint32_t connection = 0;
  std::uint32_t sensor = 0;
  std::uint32_t cold_junction = 0;
  float cold_junction_temperature = 0.0F;

  bool operator==(const SideConfig&) const = default;
};

SideConfig SideIn(const std::vector<StoredValue>& values, Side side);
void PutSide(std::vector<StoredValue>& values, Side side, const SideConfig& config);

// "RANGE_IN ..." or "RANGE_OUT ...". A code that its table does not have is kelvo10CtlErrRgeNotSupported.
Expected<std::string> RangeCommand(Side side, const SideConfig& config, std::uint32_t unit);

// What a configuration reply says of one side. `unit` is there when the reply names one.
struct RangeReply {
  SideConfig config;
  std::optional<std::uint32_t> unit;
};

// Reads the reply to "CFG_IN?" or "CFG_OUT?": words of the range command in any order, a header before them or not.
// What the reply does not name of connection and cold junction is as in `before`. An unknown word, a word twice, or a
// temperature function without its sensor is kelvo10CtlErrRgeNotSupported.
Expected<RangeReply> ParseRangeReply(std::string_view reply, const SideConfig& before);

// Whether an identification line comes from this model.
bool IsKelvo10(std::string_view identification);

// The number at the start of a "MEAS?" reply. A reply that begins with none is 0, as it always was; one that is too
// large for a float is serialCommErrUnableToReadComm.
Expected<float> ParseMeasure(std::string_view reply);

// "OUT 100.099998": the float's own digits.
std::string OutputCommand(float value);

// Unit and decimals of a function; "" and 6 for a code that is none.
std::string UnitOf(std::uint32_t function, std::uint32_t unit);
int ResolutionOf(std::uint32_t function);

}  // namespace ulix::kelvo10

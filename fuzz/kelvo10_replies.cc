// Any bytes as replies of a Kelvo10.
#include <cmath>
#include <string>

#include "base/reply_field.h"
#include "drivers/calibrators/kelvo10/tables.h"
#include "drivers/calibrators/range_calibrator/protocol.h"
#include "fuzz/require.h"

namespace ulix::range_calibrator {
namespace {

constexpr const Model& kModel = kelvo10::kModel;
constexpr SideConfig kBefore{1, 2, 3, 1, 7.0F};

void CheckMeasure(std::string_view reply) {
  const auto value = ParseMeasure(reply);
  if (value) {
    Require(std::isfinite(value->value), "a measure is finite");
    Require(IsPlainText(reply), "a damaged reply has no value");
    return Require(value->doubt == Doubt::kNone || value->value == 0, "what is no number counts as 0");
  }
  Require(value.error() == serialCommErrUnableToReadComm, "a measure fails as a read does");
}

// A reply may have more than a command says, or less than a command must have. A command that was built from a reply
// must be built again from its own reply.
void CheckBuiltAgain(Side side, const RangeReply& range) {
  const auto line = RangeCommand(kModel, side, range.config, range.unit.value_or(0));
  if (!line) return Require(line.error() == kelvo10CtlErrRgeNotSupported, "a range is refused as a range");
  const auto again = ParseRangeReply(kModel, side, *line, kBefore);
  Require(again.has_value(), "a built range parses");
  Require(again->config.function == range.config.function, "the function comes back");
  Require(RangeCommand(kModel, side, again->config, again->unit.value_or(0)) == line, "a parsed range builds the same");
  const auto third = ParseRangeReply(kModel, side, *line, again->config);
  Require(third && third->config == again->config && third->unit == again->unit, "and parses to the same");
}

void CheckRange(Side of, std::string_view reply) {
  const auto range = ParseRangeReply(kModel, of, reply, kBefore);
  if (!range) return Require(range.error() == kelvo10CtlErrRgeNotSupported, "a range is refused as a range");
  Require(std::isfinite(range->config.cold_junction_temperature), "a temperature is finite");
  Require(!UnitOf(kModel, range->config.function, range->unit.value_or(0)).empty(), "a function has a unit");
  CheckBuiltAgain(Side::kInput, *range);
  CheckBuiltAgain(Side::kOutput, *range);
}

}  // namespace
}  // namespace ulix::range_calibrator

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view reply = ulix::TextOfInput(data, size);
  ulix::range_calibrator::CheckMeasure(reply);
  ulix::range_calibrator::CheckRange(ulix::range_calibrator::Side::kInput, reply);
  ulix::range_calibrator::CheckRange(ulix::range_calibrator::Side::kOutput, reply);
  return 0;
}

// Any bytes as replies of the ADT760 and the ADT761.
#include <cmath>

#include "drivers/others/adt760/protocol.h"
#include "drivers/others/adt761/protocol.h"
#include "fuzz/require.h"

namespace ulix {
namespace {

void CheckAdt760(std::string_view answer) {
  for (ChannelId id = 0; id < adt760::kChannels.size(); ++id) {
    const auto value = adt760::ParseReading(answer, id);
    if (value) Require(std::abs(*value) < 9.9e37F, "a reading is finite, and no overload");
    if (!value) Require(value.error() == adt760CtlErrNoMeasAvailable, "there is a measure or none");
  }
  const adt760::ElectricalFunction* function = adt760::FindFunction(answer);
  if (function) Require(std::string_view(function->query).ends_with("?\n"), "a function has a query");
  const HRESULT queue = adt760::CheckErrorQueue(answer);
  Require(queue == S_OK || queue == adt760CtlErrScpiCmde, "a queue tells of an error or of none");
}

void CheckAdt761(std::string_view answer) {
  adt761::ParseIntroduction(answer);
  for (const adt761::Channel& channel : adt761::kReadings) {
    const char* query = channel.query ? channel.query : ":R:EPMVALUE";
    const auto measured = adt761::ParseReading(answer, query, channel);
    if (!measured) {
      Require(measured.error() == adt761CtlErrNoMeasAvailable, "there is a measure or none");
      continue;
    }
    Require(std::isfinite(measured->value), "a reading is finite");
    Require(answer.find(":F") != std::string_view::npos, "what is refused has no value");
    Require(answer.find('\0') == std::string_view::npos, "a damaged answer has no value");
    const bool right =
        !measured->unit || measured->unit == &adt761::kNoUnit || measured->unit->quantity == channel.quantity;
    Require(right, "a unit is of its channel's quantity");
  }
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view answer = ulix::TextOfInput(data, size);
  ulix::CheckAdt760(answer);
  ulix::CheckAdt761(answer);
  return 0;
}

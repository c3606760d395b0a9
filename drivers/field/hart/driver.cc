#include "drivers/field/hart/driver.h"

#include <utility>

#include "drivers/field/hart/tables.h"

namespace ulix::hart {
namespace {

constexpr LineProfile kLine = {.terminator = '\r', .reply_size = kLongestReply + 1};

// No line feeds behind replies, no echo of commands, no temperatures unasked.
constexpr std::array kGreeting = {"lf=of", "du=h", "sa=0"};

constexpr std::array kQueries = {"t", "s"};  // by channel

}  // namespace

HartDriver::HartDriver(DriverServices services) : SerialDriver(kCard, kLine, std::move(services)) {}

// The unit has no query but the two; their replies begin with the query's letter.
Landmark HartDriver::landmark() const {
  return {.query = kQueries[kSetPointChannel], .opposite = kQueries[kTemperatureChannel]};
}

// What the unit says to the greeting while it still echoes is thrown away.
HRESULT HartDriver::Greet() {
  HRESULT result = S_OK;
  for (const char* command : kGreeting) {
    if (Succeeded(result)) result = Send(command);
  }
  DiscardInput();
  return result;
}

Reading HartDriver::ReadChannel(ChannelId id) {
  if (id >= kChannels.size()) return {.code = hartCtlErrChNum};
  const auto measured = Query(kQueries[id], usual_plan(), ParseMeasurement);
  if (!measured) return {.code = measured.error()};
  units_[id] = measured->unit;
  return {S_OK, measured->value};
}

std::string HartDriver::ChannelUnit(ChannelId id) const { return id < units_.size() ? units_[id].load() : ""; }

// The unit keeps whatever it accepted; what it says it keeps must be what was sent.
HRESULT HartDriver::WriteChannel(ChannelId id, float value) {
  if (id >= kChannels.size()) return hartCtlErrChNum;
  if (id != kSetPointChannel) return E_INVALIDARG;
  const std::string sent = SetPointText(value);
  const std::lock_guard exchange(exchange_mutex_);
  DiscardInput();
  if (const HRESULT result = Send("s=" + sent); Failed(result)) return result;
  const auto reply = Query(kQueries[kSetPointChannel]);
  if (!reply) return reply.error() == serialCommErrUnableToReadComm ? hartCtlErrNack : reply.error();
  if (Confirms(*reply, sent)) return S_OK;
  if (!IsSetPoint(*reply) || !ParseValue(*reply)) Distrust();
  return hartCtlErrNack;
}

}  // namespace ulix::hart

#include "drivers/field/hart/driver.h"

#include <utility>

#include "base/text.h"
#include "drivers/catalogue.h"
#include "drivers/field/hart/tables.h"

namespace ulix::hart {
namespace {

constexpr LineProfile kLine = {.terminator = '\r', .reply_size = kLongestReply + 1};

constexpr std::array kQueries = {"t", "s"};  // by channel

}  // namespace

HartDriver::HartDriver(const DriverServices& services) : Driver(kCard, LineWire(kLine, services)) {}

// No line feeds behind replies, no echo of commands, no temperatures unasked. What the unit says while it still echoes
// is thrown away.
Expected<bool> HartDriver::StartSession(Conversation& talk) {
  const HRESULT result = talk.SendEach({"lf=of", "du=h", "sa=0"});
  talk.DiscardInput();
  return Started(result);
}

// Until a temperature was read, it is taken to begin otherwise than a set point, if that begins as it should.
SyncQuery HartDriver::sync_query() const {
  const auto& temperature = headings_[kTemperatureChannel];
  const auto& set_point = headings_[kSetPointChannel];
  const bool as_usual = !set_point || IsSetPoint(*set_point + ':');
  const bool recognised = !set_point || TellsSetPoint(*set_point);
  const bool differ = temperature ? recognised && !TellsSetPoint(*temperature) : as_usual;
  if (!differ) return {};
  return {.query = kQueries[kSetPointChannel],
          .alternate = kQueries[kTemperatureChannel],
          .assumed = !temperature || !set_point};
}

// Behind a reply that stopped midway, the heading ends with the set point's.
bool HartDriver::TellsSetPoint(std::string_view heading) const {
  const auto& learned = headings_[kSetPointChannel];
  return learned && !learned->empty() ? heading.ends_with(*learned) : IsSetPoint(std::string(heading) + ':');
}

bool HartDriver::IsSyncReply(std::string_view reply) const {
  const auto heading = HeadingOf(reply);
  return heading && !sync_query().query.empty() && TellsSetPoint(*heading);
}

Expected<std::string> HartDriver::Ask(Conversation& talk, ChannelId id) {
  auto reply = talk.Query(kQueries[id], kLine.usual());
  if (reply && talk.in_sync() && ParseValue(*reply)) headings_[id] = HeadingOf(*reply);
  return reply;
}

Reading HartDriver::ReadChannel(ChannelId id) {
  if (id >= kChannels.size()) return {.code = hartCtlErrChNum};
  return Exchange([&](Conversation& talk) -> Reading {
    const auto reply = Ask(talk, id);
    if (!reply) return {.code = reply.error()};
    const auto measured = ParseMeasurement(*reply);
    if (!measured) {
      talk.MarkOutOfSync();
      return {.code = measured.error()};
    }
    units_[id] = measured->unit;
    return {S_OK, measured->value};
  });
}

ChannelTraits HartDriver::DescribeChannel(ChannelId id) const {
  ChannelTraits traits = Driver::DescribeChannel(id);
  traits.unit = units_[id];
  return traits;
}

// The unit keeps whatever it accepted; what it says it keeps must be what was sent.
HRESULT HartDriver::WriteChannel(ChannelId id, float value) {
  if (id >= kChannels.size()) return hartCtlErrChNum;
  if (id != kSetPointChannel) return E_INVALIDARG;
  const std::string sent = SetPointText(value);
  return Exchange([&](Conversation& talk) -> HRESULT {
    talk.DiscardInput();
    if (const HRESULT result = talk.Send("s=" + sent); Failed(result)) return result;
    const auto reply = Ask(talk, kSetPointChannel);
    if (!reply) return reply.error() == serialCommErrUnableToReadComm ? hartCtlErrNack : reply.error();
    if (Confirms(*reply, sent)) return S_OK;
    const auto heading = HeadingOf(*reply);
    if (!heading || !TellsSetPoint(*heading) || !ParseValue(*reply)) talk.MarkOutOfSync();
    return hartCtlErrNack;
  });
}

const CatalogueEntry kEntry{&kCard, MakeDriver<HartDriver>};

}  // namespace ulix::hart

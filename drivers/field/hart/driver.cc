#include "drivers/field/hart/driver.h"

#include <utility>

#include "base/reply_field.h"
#include "drivers/catalogue.h"
#include "drivers/field/hart/tables.h"

namespace ulix::hart {
namespace {

constexpr LineProfile kLine = {.terminator = '\r', .reply_size = kLongestReply + 1};

constexpr std::array kQueries = {"t", "s"};  // by channel

}  // namespace

HartDriver::HartDriver(const DriverServices& services) : Driver(kCard, LineWire(kLine, services)) {}

// Switches off line feeds after replies, the echo of commands, and temperatures that come unasked. The echo that comes
// before it is off is discarded.
Expected<bool> HartDriver::StartSession(Conversation& talk) {
  headings_ = {};  // the unit may be another one
  doubted_ = false;
  const HRESULT result = talk.SendEach({"lf=of", "du=h", "sa=0"});
  talk.DiscardInput();
  return Started(result);
}

// The query for the set point, if the heading of its reply differs from that of a temperature. Before a temperature was
// read they are assumed to differ, if the heading of a set point is the usual one.
SyncQuery HartDriver::sync_query() const {
  const auto& temperature = headings_[kTemperatureChannel];
  const auto& set_point = headings_[kSetPointChannel];
  const bool as_usual = !set_point || IsSetPoint(*set_point);
  const bool recognised = !set_point || TellsSetPoint(*set_point);
  const bool differ = temperature ? recognised && !TellsSetPoint(*temperature) : as_usual;
  if (!differ) return {};
  return {.query = kQueries[kSetPointChannel],
          .alternate = kQueries[kTemperatureChannel],
          .assumed = !temperature || !set_point};
}

// If a reply that stopped midway precedes the reply, its heading only ends with that of a set point.
bool HartDriver::TellsSetPoint(std::string_view heading) const {
  const auto& learned = headings_[kSetPointChannel];
  return learned && !learned->empty() ? heading.ends_with(*learned) : IsSetPoint(heading);
}

// Until the first temperature is read, every heading that is not the heading of a set point counts as a temperature.
bool HartDriver::TellsTemperature(std::string_view heading) const {
  const auto& learned = headings_[kTemperatureChannel];
  return learned ? heading == *learned : !TellsSetPoint(heading);
}

bool HartDriver::IsSetPointReply(std::string_view reply) const {
  const auto heading = HeadingOf(reply);
  return heading && TellsSetPoint(*heading);
}

bool HartDriver::IsSyncReply(std::string_view reply) const {
  return !sync_query().query.empty() && IsSetPointReply(reply);
}

// A program that ended while it waited leaves its reply on the line. After "s" such a reply would be a temperature in
// place of a set point. So the first doubtful reply of a session is refused; after the resynchronisation a reply like
// it is certain.
Expected<Measurement> HartDriver::Take(ChannelId id, std::string_view reply) {
  const auto measured = ParseMeasurement(reply);
  if (!measured) return measured;
  auto heading = HeadingOf(reply);
  const bool doubtful = id == kSetPointChannel && TellsTemperature(*heading);
  if (doubtful && !std::exchange(doubted_, true)) return Failure(serialCommErrUnableToReadComm);
  headings_[id] = std::move(heading);
  return measured;
}

Reading HartDriver::ReadChannel(ChannelId id) {
  if (id >= kChannels.size()) return {.code = hartCtlErrChNum};
  return ReadingOf(Exchange([&](Conversation& talk) -> Expected<float> {
    const auto take = [&](const std::string& reply) { return Take(id, reply); };
    const auto measured = talk.Query(kQueries[id], kLine.usual(), take);
    if (!measured) return Failure(measured.error());
    units_[id] = measured->unit;
    return IsOverload(measured->value) ? Failure(talk.Unread()) : Expected<float>(measured->value);
  }));
}

ChannelTraits HartDriver::DescribeChannel(ChannelId id) const {
  ChannelTraits traits = Driver::DescribeChannel(id);
  traits.unit = units_[id];
  return traits;
}

// The unit does not confirm a set point, so the set point is read back and compared with the one sent.
HRESULT HartDriver::WriteChannel(ChannelId id, float value) {
  if (id >= kChannels.size()) return hartCtlErrChNum;
  if (id != kSetPointChannel) return E_INVALIDARG;
  const std::string sent = SetPointText(value);
  return Exchange([&](Conversation& talk) -> HRESULT {
    talk.DiscardInput();
    if (const HRESULT result = talk.Send("s=" + sent); Failed(result)) return result;
    const auto reply = talk.Query(kQueries[kSetPointChannel], kLine.usual());
    if (!reply) return reply.error() == serialCommErrUnableToReadComm ? hartCtlErrNack : reply.error();
    if (Confirms(*reply, sent)) return S_OK;
    if (!IsSetPointReply(*reply) || !ParseValue(*reply)) talk.MarkOutOfSync();
    return hartCtlErrNack;
  });
}

const CatalogueEntry kEntry{&kCard, MakeDriver<HartDriver>};

}  // namespace ulix::hart

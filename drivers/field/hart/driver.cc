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

// No line feeds behind replies, no echo of commands, no temperatures unasked. What the unit says while it still echoes
// is thrown away.
Expected<bool> HartDriver::StartSession(Conversation& talk) {
  headings_ = {};  // another unit may be there
  doubted_ = false;
  const HRESULT result = talk.SendEach({"lf=of", "du=h", "sa=0"});
  talk.DiscardInput();
  return Started(result);
}

// Until a temperature was read, it is taken to begin otherwise than a set point, if that begins as it should.
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

// Behind a reply that stopped midway, the heading ends with the set point's.
bool HartDriver::TellsSetPoint(std::string_view heading) const {
  const auto& learned = headings_[kSetPointChannel];
  return learned && !learned->empty() ? heading.ends_with(*learned) : IsSetPoint(heading);
}

// Until a temperature was read, whatever does not tell a set point may be one.
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

// Another program that was ended while it waited leaves its reply behind. As the reply to "s" it would be a temperature
// for a set point: the first such reply of a session is none. What comes once the line is in sync again is certain.
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

// The unit keeps whatever it accepted; what it says it keeps must be what was sent.
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

#include "drivers/driver.h"

#include "base/trace.h"

namespace ulix {

Driver::Driver(const ModelCard& card, Wire wire, Facilities facilities)
    : card_(card),
      facilities_(facilities),
      settings_(card.settings),
      link_(std::move(wire.link)),
      session_(*link_, std::move(wire.framer), *this, std::move(wire.options)) {}

void Driver::Disconnect() {
  session_.Disconnect();
  TraceLine(std::string("CUlixInstr") + card_.class_name + "Ctl::Disconnect: " + TextOf(statistics()) + "\n");
}

std::optional<TextId> Driver::TakeWarning() {
  const int warning = warning_.exchange(kNoWarning);
  return warning == kNoWarning ? std::nullopt : std::optional(static_cast<TextId>(warning));
}

ChannelTraits Driver::DescribeChannel(ChannelId id) const {
  const ChannelRow& row = card_.channels[id];
  return {.unit = row.unit, .resolution = row.resolution, .limits = {}};
}

ChannelTraits Driver::TraitsOf(ChannelId id) const {
  if (id >= card_.channels.size()) return {};
  ChannelTraits traits = DescribeChannel(id);
  return traits.offered ? traits : ChannelTraits{};
}

ChannelLimit Driver::Limit(ChannelId id, int index) const {
  const ChannelTraits traits = TraitsOf(id);
  const bool known = index >= 0 && index < static_cast<int>(traits.limits.size());
  return known ? traits.limits[static_cast<std::size_t>(index)] : ChannelLimit();
}

Expected<std::string> Driver::AskText(std::string_view query, const ReplyPlan& plan) {
  return Exchange([&](Conversation& talk) { return talk.QueryText(query, plan); });
}

Expected<std::string> Driver::RawQuery(std::string_view query) {
  return Exchange([&](Conversation& talk) { return talk.QueryTyped(query); });
}

HRESULT Driver::RawCommand(std::string_view command) {
  return Exchange([&](Conversation& talk) { return talk.SendTyped(command); });
}

}  // namespace ulix

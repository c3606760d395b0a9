#include "drivers/driver.h"

namespace ulix {

bool Driver::IsBusy() const {
  const std::unique_lock exchange(exchange_mutex_, std::try_to_lock);
  return !exchange.owns_lock();
}

const ChannelRow* Driver::RowOf(ChannelId id) const {
  return id < card_.channels.size() && OffersChannel(id) ? &card_.channels[id] : nullptr;
}

std::string Driver::ChannelUnit(ChannelId id) const {
  const ChannelRow* row = RowOf(id);
  return row ? row->unit : "";
}

int Driver::ChannelResolution(ChannelId id) const {
  const ChannelRow* row = RowOf(id);
  return row ? row->resolution : kUnknownResolution;
}

}  // namespace ulix

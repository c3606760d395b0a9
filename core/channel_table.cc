#include "core/channel_table.h"

namespace ulix {

ChannelTable::ChannelTable(std::span<const ChannelRow> rows) : rows_(rows), records_(rows.size()) {
  for (ChannelId id = 0; id < rows.size(); ++id) records_[id].id = id;
  ResetDirections();
}

std::int32_t ChannelTable::Direction(ChannelId id) const {
  const std::lock_guard lock(mutex_);
  return directions_[id];
}

void ChannelTable::SetDirection(ChannelId id, std::int32_t direction) {
  const std::lock_guard lock(mutex_);
  directions_[id] = direction;
}

void ChannelTable::ResetDirections() {
  const std::lock_guard lock(mutex_);
  directions_.clear();
  for (const ChannelRow& row : rows_) directions_.push_back(row.direction);
}

GroupChannel ChannelTable::Record(ChannelId id) const {
  const std::lock_guard lock(mutex_);
  return records_[id];
}

void ChannelTable::Store(const GroupChannel& record) {
  const std::lock_guard lock(mutex_);
  if (record.read_at >= records_[record.id].read_at) records_[record.id] = record;
}

void ChannelTable::Replace(const GroupChannel& record) {
  const std::lock_guard lock(mutex_);
  records_[record.id] = record;
}

}  // namespace ulix

#include "core/channel_table.h"

namespace ulix {

ChannelTable::ChannelTable(std::span<const ChannelRow> rows)
    : rows_(rows), records_(rows.size()), changes_(rows.size()) {
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

GroupChannel ChannelTable::Store(const ChannelReading& reading) {
  const std::lock_guard lock(mutex_);
  GroupChannel& record = records_[reading.id];
  const GroupChannel read = {.id = reading.id,
                             .value = reading.value.value_or(record.value),
                             .error = reading.error,
                             .time = reading.time,
                             .read_at = reading.read_at,
                             .doubt = reading.doubt};
  if (read.read_at < record.read_at) return read;
  record = read;
  ++changes_[reading.id];
  return read;
}

ChannelTable::Writing ChannelTable::BeginWriting(ChannelId id, float value, Date time) {
  const std::lock_guard lock(mutex_);
  const GroupChannel before = records_[id];
  records_[id] = {.id = id, .value = value, .error = S_OK, .time = time, .read_at = before.read_at};
  return {before, ++changes_[id]};
}

void ChannelTable::TakeBack(const Writing& writing) {
  const std::lock_guard lock(mutex_);
  const ChannelId id = writing.before.id;
  if (changes_[id] == writing.change) records_[id] = writing.before;
}

}  // namespace ulix

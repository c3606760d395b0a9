// The control's channel records: what each channel last read, and which way it goes.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "base/date.h"
#include "base/result.h"
#include "drivers/model_card.h"
#include "platform/clock.h"

namespace ulix {

struct GroupChannel {
  ChannelId id = 0;
  float value = 0.0F;
  HRESULT error = S_OK;     // 0 when the last reading succeeded
  Date time = 0.0;          // local time; 0 until the first reading
  MonotonicTime read_at{};  // orders readings when the local time is set back
};

// Written by scan threads, read by hosts. The lock is held for the copy of one record and never over an exchange.
class ChannelTable {
 public:
  explicit ChannelTable(std::span<const ChannelRow> rows);

  std::size_t size() const { return rows_.size(); }
  bool Knows(ChannelId id) const { return id < rows_.size(); }
  const ChannelRow& Row(ChannelId id) const { return rows_[id]; }

  // Whether the model can read the channel at all; groups hold such channels only.
  bool IsReadable(ChannelId id) const { return Knows(id) && rows_[id].direction != ChanOut; }
  // As the saved configuration has it. `id` is a known one.
  std::int32_t Direction(ChannelId id) const;
  void SetDirection(ChannelId id, std::int32_t direction);
  void ResetDirections();

  GroupChannel Record(ChannelId id) const;
  // Keeps the newer of the two: a scan that was left behind comes late.
  void Store(const GroupChannel& record);
  // Puts a record in place whatever stands there.
  void Replace(const GroupChannel& record);

 private:
  std::span<const ChannelRow> rows_;
  mutable std::mutex mutex_;
  std::vector<std::int32_t> directions_;  // guarded by mutex_
  std::vector<GroupChannel> records_;     // guarded by mutex_
};

}  // namespace ulix

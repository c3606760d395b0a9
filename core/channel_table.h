// The control's channel records: what each channel last read, and which way it goes.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "base/date.h"
#include "base/measured.h"
#include "base/result.h"
#include "drivers/model_card.h"
#include "platform/clock.h"

namespace ulix {

struct GroupChannel {
  ChannelId id = 0;
  float value = 0.0F;       // beside an error, and where the doubt says so, that of an earlier reading
  HRESULT error = S_OK;     // 0 when the last reading succeeded
  Date time = 0.0;          // local time; 0 until the first reading
  MonotonicTime read_at{};  // when the last reading's scan began; the local time can be set back
  Doubt doubt = Doubt::kNone;
};

// What one scan made of a channel.
struct ChannelReading {
  ChannelId id = 0;
  std::optional<float> value;  // none beside an error, or where a warning came in place of a value
  HRESULT error = S_OK;
  Doubt doubt = Doubt::kNone;
  Date time = 0.0;
  MonotonicTime read_at{};
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
  // Puts a reading into the record and returns that record. Without a value of its own it keeps the record's. Of two
  // readings the one whose scan began later stays: a scan that was left behind comes late.
  GroupChannel Store(const ChannelReading& reading);

  // A value that is being written to an instrument, and what stood there before.
  struct Writing {
    GroupChannel before;
    std::uint64_t change = 0;
  };
  // Puts the value in place at once. Of several writings of a channel, one ends before the next begins.
  Writing BeginWriting(ChannelId id, float value, Date time);
  // The instrument refused the value: what stood there before comes back, unless a reading came meanwhile.
  void TakeBack(const Writing& writing);

 private:
  std::span<const ChannelRow> rows_;
  mutable std::mutex mutex_;
  std::vector<std::int32_t> directions_;  // guarded by mutex_
  std::vector<GroupChannel> records_;     // guarded by mutex_
  std::vector<std::uint64_t> changes_;    // guarded by mutex_; of each record, so far
};

}  // namespace ulix

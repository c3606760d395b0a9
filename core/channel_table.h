// The control's channel records: the last reading of each channel, and its direction.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/date.h"
#include "base/measured.h"
#include "base/result.h"
#include "drivers/channel_arrays.h"
#include "drivers/model_card.h"
#include "platform/clock.h"
#include "platform/mutex.h"

namespace ulix {

// The reading of one channel in one scan.
struct ChannelReading {
  ChannelId id = 0;
  std::optional<float> value;  // None with an error, or when a warning came in place of a value.
  HRESULT error = S_OK;
  Doubt doubt = Doubt::kNone;
  Date time = 0.0;
  MonotonicTime read_at{};
};

// Scan threads write the records, hosts read them. All members may be called from any thread. The lock is held only
// while one record is copied, never during an exchange.
class ChannelTable {
 public:
  explicit ChannelTable(std::span<const ChannelRow> rows);

  std::size_t size() const { return rows_.size(); }
  bool Knows(ChannelId id) const { return id < rows_.size(); }
  const ChannelRow& Row(ChannelId id) const { return rows_[id]; }

  // Whether the model can read the channel at all. Only such channels can be in a group.
  bool IsReadable(ChannelId id) const { return Knows(id) && rows_[id].direction != ChanOut; }
  // The direction in the configuration, which may differ from the model's. `id` must be known.
  std::int32_t Direction(ChannelId id) const;
  void SetDirection(ChannelId id, std::int32_t direction);
  void ResetDirections();

  GroupChannel Record(ChannelId id) const;
  // Puts a reading into the record and returns the record. A reading without a value keeps the record's value. A
  // reading whose scan began before the record's is dropped: a scan that was left behind comes late.
  GroupChannel Store(const ChannelReading& reading);

  // A value that is being written to the instrument: the record before it.
  struct Writing {
    GroupChannel before;
    std::uint64_t change = 0;
  };
  // Puts the value into the record at once. The caller ends one writing before it begins the next (write_mutex).
  Writing BeginWriting(ChannelId id, float value, Date time);
  // Restores the record before the writing, because the instrument refused the value. A reading that came meanwhile
  // stays.
  void TakeBack(const Writing& writing);

 private:
  std::span<const ChannelRow> rows_;
  mutable platform::Mutex mutex_;
  std::vector<std::int32_t> directions_;  // Guarded by mutex_.
  std::vector<GroupChannel> records_;     // Guarded by mutex_.
  std::vector<std::uint64_t> changes_;    // Guarded by mutex_; the number of changes of each record.
};

}  // namespace ulix

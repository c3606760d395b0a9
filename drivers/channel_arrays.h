// The last reading of a channel, and the arrays in which hosts receive readings.
#pragma once

#include <cstddef>
#include <vector>

#include "base/date.h"
#include "base/measured.h"
#include "base/result.h"
#include "drivers/model_card.h"
#include "platform/clock.h"

namespace ulix {

struct GroupChannel {
  ChannelId id = 0;
  float value = 0.0F;       // With an error or Doubt::kNoValue this is the value of an earlier reading.
  HRESULT error = S_OK;     // 0 when the last reading succeeded.
  Date time = 0.0;          // Local time; 0 until the first reading.
  MonotonicTime read_at{};  // Start of the last reading's scan, on a clock that is never set back.
  Doubt doubt = Doubt::kNone;
};

// Element k of each array belongs to the same channel.
struct ChannelArrays {
  std::vector<ChannelId> ids;
  std::vector<float> values;
  std::vector<HRESULT> errors;  // 0 for success. The value of a failed reading has no meaning.
  std::vector<Date> times;
  std::vector<Doubt> doubts;  // For the library's own reports. The interface has no array for it.

  std::size_t size() const { return ids.size(); }
  void Add(const GroupChannel& record);
  void Append(const ChannelArrays& records);
  void reserve(std::size_t size);
  void resize(std::size_t size);
  // Keeps the allocated memory.
  void clear();
};

}  // namespace ulix

// The four arrays of results of the interface. Element k of each array belongs to the same channel.
#pragma once

#include <cstddef>
#include <vector>

#include "core/channel_table.h"

namespace ulix {

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

// The four arrays in which results cross the interface; element k of each is for the same channel.
#pragma once

#include <cstddef>
#include <vector>

#include "core/channel_table.h"

namespace ulix {

struct ChannelArrays {
  std::vector<ChannelId> ids;
  std::vector<float> values;
  std::vector<HRESULT> errors;  // 0 for success; a value beside a failure means nothing
  std::vector<Date> times;
  std::vector<Doubt> doubts;  // for reports of our own; hosts are not told

  std::size_t size() const { return ids.size(); }
  void Add(const GroupChannel& record);
  void Append(const ChannelArrays& records);
  void reserve(std::size_t size);
  void resize(std::size_t size);
  // Keeps what was allocated.
  void clear();
};

}  // namespace ulix

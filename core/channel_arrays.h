// The four arrays in which results cross the interface; element k of each is for the same channel.
#pragma once

#include <cstddef>
#include <vector>

#include "base/date.h"
#include "base/result.h"
#include "drivers/model_card.h"

namespace ulix {

// The error of a channel that gave a warning in place of a value while it has no earlier value to keep: E_PENDING.
inline constexpr HRESULT kNoValueYet = static_cast<HRESULT>(0x8000000AU);

struct ChannelArrays {
  std::vector<ChannelId> ids;
  std::vector<float> values;
  std::vector<HRESULT> errors;  // 0 for success; a value beside a failure means nothing
  std::vector<Date> times;

  std::size_t size() const { return ids.size(); }
  void Add(ChannelId id, float value, HRESULT error, Date time) {
    ids.push_back(id);
    values.push_back(value);
    errors.push_back(error);
    times.push_back(time);
  }
  void resize(std::size_t size) {
    ids.resize(size);
    values.resize(size);
    errors.resize(size);
    times.resize(size);
  }
  // Keeps what was allocated.
  void clear() {
    ids.clear();
    values.clear();
    errors.clear();
    times.clear();
  }
};

}  // namespace ulix

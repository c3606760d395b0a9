#include "drivers/channel_arrays.h"

namespace ulix {
namespace {

// Calls `act` with each array.
template <typename Act>
void ForEachColumn(ChannelArrays& arrays, Act&& act) {
  act(arrays.ids);
  act(arrays.values);
  act(arrays.errors);
  act(arrays.times);
  act(arrays.doubts);
}

template <typename T>
void AppendColumn(std::vector<T>& to, const std::vector<T>& from) {
  to.insert(to.end(), from.begin(), from.end());
}

}  // namespace

void ChannelArrays::Add(const GroupChannel& record) {
  ids.push_back(record.id);
  values.push_back(record.value);
  errors.push_back(record.error);
  times.push_back(record.time);
  doubts.push_back(record.doubt);
}

void ChannelArrays::Append(const ChannelArrays& records) {
  AppendColumn(ids, records.ids);
  AppendColumn(values, records.values);
  AppendColumn(errors, records.errors);
  AppendColumn(times, records.times);
  AppendColumn(doubts, records.doubts);
}

void ChannelArrays::reserve(std::size_t size) {
  ForEachColumn(*this, [size](auto& column) { column.reserve(size); });
}

void ChannelArrays::resize(std::size_t size) {
  ForEachColumn(*this, [size](auto& column) { column.resize(size); });
}

void ChannelArrays::clear() {
  ForEachColumn(*this, [](auto& column) { column.clear(); });
}

}  // namespace ulix

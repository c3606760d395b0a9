// The members about channels, and the capabilities that follow from the tables of channels and settings.
#include <algorithm>
#include <cmath>
#include <type_traits>

#include "core/group_threads.h"
#include "core/instrument_member.h"

namespace ulix {
namespace {

bool IsInput(std::int32_t direction) { return direction != ChanOut; }
bool IsOutput(std::int32_t direction) { return direction != ChanIn; }

// A finite number, or none. An empty value must never set an output to 0.
std::optional<float> NumberIn(const Value& value) {
  return std::visit(
      [](const auto& held) -> std::optional<float> {
        if constexpr (std::is_arithmetic_v<std::decay_t<decltype(held)>>) {
          const auto number = static_cast<float>(held);
          if (std::isfinite(number)) return number;
        }
        return std::nullopt;
      },
      value);
}

}  // namespace

HRESULT Instrument::GetChanDir(ChannelId channel, std::int32_t* direction) {
  return Member([&]() -> HRESULT {
    if (!direction || !control_->channels.Knows(channel)) return E_INVALIDARG;
    return Give(direction, control_->channels.Direction(channel));
  });
}

HRESULT Instrument::GetChanName(ChannelId channel, std::string* name) {
  return Member([&]() -> HRESULT {
    if (!name || !control_->channels.Knows(channel)) return E_INVALIDARG;
    return Give(name, control_->driver->ChannelName(channel));
  });
}

HRESULT Instrument::GetChanDefName(ChannelId channel, std::string* name) { return GetChanName(channel, name); }

HRESULT Instrument::GetChanUnit(ChannelId channel, std::string* unit) {
  return Member([&] { return Give(unit, control_->driver->ChannelUnit(channel)); });
}

HRESULT Instrument::GetChanResol(ChannelId channel, std::int16_t* resolution) {
  return Member([&] { return Give(resolution, control_->driver->ChannelResolution(channel)); });
}

HRESULT Instrument::GetChanLim(ChannelId channel, std::int16_t index, float* limit, std::int16_t* level) {
  return Member([&]() -> HRESULT {
    if (AnyNull(limit, level) || !control_->channels.Knows(channel)) return E_INVALIDARG;
    const ChannelLimit found = control_->driver->Limit(channel, index);
    *limit = found.value;
    return Give(level, found.level);
  });
}

bool Instrument::IsChannelOn(ChannelId channel) const {
  return OffersChannel(channel) && control_->driver->IsChannelOn(channel);
}

bool Instrument::OffersChannel(ChannelId channel) const {
  return control_->channels.Knows(channel) && control_->driver->OffersChannel(channel);
}

std::vector<ChannelId> Instrument::ChannelsWhere(bool (*wanted)(std::int32_t direction)) const {
  std::vector<ChannelId> ids;
  for (ChannelId id = 0; id < control_->channels.size(); ++id) {
    if (wanted(control_->channels.Direction(id))) ids.push_back(id);
  }
  return ids;
}

bool Instrument::HasChannel(bool (*wanted)(std::int32_t direction)) const {
  return std::any_of(card().channels.begin(), card().channels.end(),
                     [&](const ChannelRow& row) { return wanted(row.direction); });
}

HRESULT Instrument::OutChans(std::vector<ChannelId>* channels) {
  return Member([&] { return Give(channels, ChannelsWhere(IsOutput)); });
}

HRESULT Instrument::InChans(std::uint32_t group, std::vector<ChannelId>* channels) {
  return Member([&]() -> HRESULT {
    if (!channels) return E_INVALIDARG;
    return WithGroup(group, [&](AcqGroup& found) {
      std::vector<ChannelId> members = ChannelsWhere(IsInput);
      std::erase_if(members, [&](ChannelId id) { return !found.state().IsMember(id); });
      return Give(channels, std::move(members));
    });
  });
}

HRESULT Instrument::ReadChan(ChannelId channel, GroupChannel* record) {
  return WhenConnected([&]() -> HRESULT {
    if (!record || !control_->channels.IsReadable(channel)) return E_INVALIDARG;
    const MonotonicTime now = control_->clock.Now();
    const Date stamp = control_->clock.LocalTime();
    const HRESULT opened = control_->driver->OpenLink();
    *record = control_->channels.Store(
        Succeeded(opened) ? AskChannel(*control_->driver, channel, stamp, now)
                          : ChannelReading{.id = channel, .error = opened, .time = stamp, .read_at = now});
    return S_OK;
  });
}

HRESULT Instrument::GetChansVals(std::span<const ChannelId> channels, ChannelArrays* arrays) {
  return Member([&]() -> HRESULT {
    if (!arrays) return E_INVALIDARG;
    *arrays = {};
    if (!connected_) return E_UNEXPECTED;
    ChannelArrays copied;
    for (const ChannelId id : channels) {
      if (!control_->channels.Knows(id)) return E_INVALIDARG;
      copied.Add(control_->channels.Record(id));
    }
    *arrays = std::move(copied);
    return S_OK;
  });
}

// The record has the new value while it is sent. When the instrument refuses it, the record is restored.
HRESULT Instrument::SendValue(ChannelId channel, float value) {
  const std::lock_guard lock(control_->write_mutex);
  const auto writing = control_->channels.BeginWriting(channel, value, control_->clock.LocalTime());
  try {
    const SettingsWatch watch(*this);
    const HRESULT result = control_->driver->WriteChannel(channel, value);
    if (Failed(result)) control_->channels.TakeBack(writing);
    return result;
  } catch (...) {
    control_->channels.TakeBack(writing);
    throw;
  }
}

HRESULT Instrument::CheckOutput(ChannelId channel) const {
  if (!control_->channels.Knows(channel)) return E_INVALIDARG;
  return IsOutput(control_->channels.Direction(channel)) ? S_OK : card().input_write_code;
}

HRESULT Instrument::SetChanVal(ChannelId channel, const Value& value) {
  return Member([&]() -> HRESULT {
    const auto number = NumberIn(value);
    if (!number) return E_INVALIDARG;
    if (const HRESULT result = CheckOutput(channel); Failed(result)) return result;
    return connected_ ? SendValue(channel, *number) : E_UNEXPECTED;
  });
}

HRESULT Instrument::SetChansVals(std::span<const ChannelId> channels, std::span<const Value> values) {
  return Member([&]() -> HRESULT {
    if (channels.size() != values.size()) return E_INVALIDARG;
    std::vector<float> numbers;
    for (const Value& value : values) {
      const auto number = NumberIn(value);
      if (!number) return E_INVALIDARG;
      numbers.push_back(*number);
    }
    if (!connected_) return E_UNEXPECTED;
    for (const ChannelId channel : channels) {
      if (const HRESULT result = CheckOutput(channel); Failed(result)) return result;
    }
    for (std::size_t i = 0; i < channels.size(); ++i) {
      if (const HRESULT result = SendValue(channels[i], numbers[i]); Failed(result)) return result;
    }
    return S_OK;
  });
}

HRESULT Instrument::HasCommParams(std::int32_t* has) {
  return Member([&] { return Give(has, 1); });
}

HRESULT Instrument::HasCfg(std::int32_t* has) {
  return Member([&] { return Give(has, card().settings.empty() ? 0 : 1); });
}

HRESULT Instrument::CfgHasInChans(std::int32_t* has) {
  return Member([&] { return Give(has, HasChannel(IsInput) ? 1 : 0); });
}

HRESULT Instrument::CfgHasOutChans(std::int32_t* has) {
  return Member([&] { return Give(has, HasChannel(IsOutput) ? 1 : 0); });
}

HRESULT Instrument::CanEditOutChans(std::int32_t* can) { return CfgHasOutChans(can); }

}  // namespace ulix

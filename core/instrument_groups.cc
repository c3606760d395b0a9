// The members about acquisition groups.
#include <algorithm>
#include <cmath>

#include "core/instrument_member.h"
#include "resources/texts.h"

namespace ulix {
namespace {

// An id that no group has.
constexpr std::uint32_t kNoGroup = 0xFFFFFFFF;
constexpr std::size_t kMaxGroups = 0xFFFF;  // The stream counts groups in 16 bits.

}  // namespace

std::shared_ptr<AcqGroup> Instrument::FindGroup(std::uint32_t id) const {
  const std::lock_guard lock(mutex_);
  const auto found =
      std::find_if(groups_.begin(), groups_.end(), [id](const auto& group) { return group->id() == id; });
  return found == groups_.end() ? nullptr : *found;
}

std::vector<std::shared_ptr<AcqGroup>> Instrument::GroupList() const {
  const std::lock_guard lock(mutex_);
  return groups_;
}

std::uint32_t Instrument::HighestGroup() const {
  const std::lock_guard lock(mutex_);
  return highest_group_;
}

std::shared_ptr<AcqGroup> Instrument::FirstActiveGroup() const {
  const std::lock_guard lock(mutex_);
  const auto found = std::ranges::find_if(groups_, [](const auto& group) { return group->IsActive(); });
  return found == groups_.end() ? nullptr : *found;
}

// Allocates no memory, so that groups can always be stopped.
void Instrument::StopGroups() {
  while (const auto group = FirstActiveGroup()) group->Stop();
}

// Stops all groups before the instrument is disconnected, and ends the waits of their threads.
void Instrument::EndGroups() {
  {
    const std::lock_guard lock(mutex_);
    for (const auto& group : groups_) group->TellToEnd();
  }
  const WaitInterruption interruption(*control_->driver);
  StopGroups();
}

HRESULT Instrument::Groups(std::vector<std::uint32_t>* groups) {
  return Member([&]() -> HRESULT {
    if (!groups) return E_INVALIDARG;
    groups->clear();
    for (const auto& group : GroupList()) groups->push_back(group->id());
    return S_OK;
  });
}

HRESULT Instrument::CreateGroup(std::uint32_t* group) {
  bool ids_used_up = false;
  const HRESULT result = Member([&]() -> HRESULT {
    if (!group) return E_INVALIDARG;
    const std::lock_guard lock(mutex_);
    ids_used_up = highest_group_ >= kNoGroup - 1 || groups_.size() >= kMaxGroups;
    if (ids_used_up) return E_UNEXPECTED;
    groups_.push_back(std::make_shared<AcqGroup>(highest_group_ + 1, control_));
    *group = ++highest_group_;
    MarkDirty();
    return S_OK;
  });
  if (ids_used_up) SetLastErrorInfo({E_UNEXPECTED, Localized(TextId::kNoGroupId, options_.language)});
  return result;
}

HRESULT Instrument::RemoveGroup(std::uint32_t group) {
  return Member([&] {
    return WithGroup(group, [&](AcqGroup& removed) {
      removed.Stop();
      const std::lock_guard lock(mutex_);
      std::erase_if(groups_, [&](const auto& entry) { return entry.get() == &removed; });
      MarkDirty();
      return S_OK;
    });
  });
}

HRESULT Instrument::GetGroupSettings(std::uint32_t group, GroupSettings* settings) {
  return Member([&]() -> HRESULT {
    if (!settings) return E_INVALIDARG;
    return WithGroup(group, [&](AcqGroup& found) { return Give(settings, found.state().Settings()); });
  });
}

HRESULT Instrument::SetGroupSettings(std::uint32_t group, const GroupSettings& settings) {
  return Member([&]() -> HRESULT {
    if (!std::isfinite(settings.dead_band_percent) || !std::isfinite(settings.dead_band_abs)) return E_INVALIDARG;
    return WithGroup(group, [&](AcqGroup& found) {
      found.state().SetSettings(settings);
      MarkDirty();
      return S_OK;
    });
  });
}

template <typename T>
HRESULT Instrument::GetGroupSetting(std::uint32_t group, T GroupSettings::*setting, T* place) {
  return Member([&]() -> HRESULT {
    if (!place) return E_INVALIDARG;
    return WithGroup(group, [&](AcqGroup& found) { return Give(place, found.state().Settings().*setting); });
  });
}

HRESULT Instrument::Period(std::uint32_t group, std::uint32_t* period) {
  return GetGroupSetting(group, &GroupSettings::period_ms, period);
}

HRESULT Instrument::DeadBand(std::uint32_t group, float* dead_band) {
  return GetGroupSetting(group, &GroupSettings::dead_band_percent, dead_band);
}

HRESULT Instrument::DeadBandAbs(std::uint32_t group, float* dead_band) {
  return GetGroupSetting(group, &GroupSettings::dead_band_abs, dead_band);
}

HRESULT Instrument::DeadTimeMax(std::uint32_t group, std::uint32_t* time) {
  return GetGroupSetting(group, &GroupSettings::dead_time_max_s, time);
}

HRESULT Instrument::ConnectGroupChan(std::uint32_t group, ChannelId channel) {
  return SetGroupMember(group, channel, true);
}

HRESULT Instrument::RemoveGroupChan(std::uint32_t group, ChannelId channel) {
  return SetGroupMember(group, channel, false);
}

HRESULT Instrument::SetGroupMember(std::uint32_t group, ChannelId channel, bool member) {
  return Member([&]() -> HRESULT {
    const ChannelTable& channels = control_->channels;
    if (!channels.IsReadable(channel) || channels.Direction(channel) == ChanOut) return E_INVALIDARG;
    return WithGroup(group, [&](AcqGroup& found) {
      found.state().SetMember(channel, member);
      MarkDirty();
      return S_OK;
    });
  });
}

HRESULT Instrument::RunGroup(std::uint32_t group) {
  return Member([&] { return WithGroup(group, [](AcqGroup& found) { return found.Run(); }); });
}

HRESULT Instrument::StopGroup(std::uint32_t group) {
  return Member([&] { return WithGroup(group, [](AcqGroup& found) { return found.Stop(); }); });
}

HRESULT Instrument::IsGroupRunning(std::uint32_t group, std::int32_t* running) {
  return Member([&]() -> HRESULT {
    if (!running) return E_INVALIDARG;
    return WithGroup(group, [&](AcqGroup& found) { return Give(running, found.IsRunning() ? 1 : 0); });
  });
}

HRESULT Instrument::RunAllGroups() {
  return Member([&]() -> HRESULT {
    for (const auto& group : GroupList()) {
      if (const HRESULT result = group->Run(); Failed(result)) return result;
    }
    return S_OK;
  });
}

HRESULT Instrument::StopAllGroups() {
  return Member([&] {
    StopGroups();
    return S_OK;
  });
}

HRESULT Instrument::ImmediateReadGroups(std::span<const std::uint32_t> groups) {
  return WhenConnected([&]() -> HRESULT {
    for (const std::uint32_t id : groups) {
      const HRESULT result = WithGroup(id, [](AcqGroup& found) { return found.ImmediateRead(); });
      if (Failed(result)) return result;
    }
    return S_OK;
  });
}

}  // namespace ulix

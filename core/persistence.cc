// The configuration stream. In order: file version (two words), the settings' stored values, the link's block, the
// group count and the groups, the highest group id issued, the channel directions.
#include <algorithm>
#include <cmath>
#include <set>

#include "base/trace.h"
#include "core/instrument_member.h"
#include "core/version.h"

namespace ulix {
namespace {

// A group's block: id, period, dead bands, max report interval, then a byte for each channel that a group can hold.
void SaveGroup(VariantWriter& writer, AcqGroup& group, const ChannelTable& channels) {
  const GroupSettings settings = group.state().Settings();
  writer.Ui4(group.id());
  writer.Ui4(settings.period_ms);
  writer.R4(settings.dead_band_percent);
  writer.R4(settings.dead_band_abs);
  writer.Ui4(settings.dead_time_max_s);
  for (ChannelId id = 0; id < channels.size(); ++id) {
    if (channels.IsReadable(id)) writer.Ui1(group.state().IsMember(id) ? 1 : 0);
  }
}

// Null when the block is cut, has a value of another type, or a value that no group can have.
std::shared_ptr<AcqGroup> LoadGroup(VariantReader& reader, const std::shared_ptr<ControlState>& control) {
  const auto id = reader.Ui4();
  const auto period = reader.Ui4();
  const auto percent = reader.R4();
  const auto absolute = reader.R4();
  const auto silence = reader.Ui4();
  if (!id || !period || !percent || !absolute || !silence) return nullptr;
  if (!std::isfinite(*percent) || !std::isfinite(*absolute)) return nullptr;
  auto group = std::make_shared<AcqGroup>(*id, control);
  group->state().SetSettings({*period, *percent, *absolute, *silence});
  for (ChannelId channel = 0; channel < control->channels.size(); ++channel) {
    if (!control->channels.IsReadable(channel)) continue;
    const auto member = reader.Ui1();
    if (!member) return nullptr;
    group->state().SetMember(channel, *member != 0);
  }
  return group;
}

void TraceVersion(const char* what, std::uint32_t ms, std::uint32_t ls) {
  TraceLine(std::string(what) + " Cfg Version: " + VersionParts(ms, ls, ',') + ".\n");
}

}  // namespace

HRESULT Instrument::InitNew() {
  return Member([&] {
    ResetToDefaults();
    MarkClean();
    return S_OK;
  });
}

void Instrument::ResetToDefaults() {
  StopGroups();
  {
    const std::lock_guard lock(mutex_);
    groups_.clear();
    highest_group_ = 0;
  }
  settings().Reset();
  if (LinkParams* params = control_->driver->link().settings().params) params->ResetParams();
  control_->channels.ResetDirections();
}

HRESULT Instrument::WriteConfiguration(ByteStream& stream) const {
  TraceVersion("Write", FileVersionMS(), FileVersionLS());
  VariantWriter writer(stream);
  writer.Ui4(FileVersionMS());
  writer.Ui4(FileVersionLS());
  control_->driver->settings().Save(writer);
  if (const LinkParams* params = control_->driver->link().settings().params) params->SaveParams(writer);
  const auto groups = GroupList();
  writer.Ui2(static_cast<std::uint16_t>(groups.size()));
  for (const auto& group : groups) SaveGroup(writer, *group, control_->channels);
  writer.Ui4(HighestGroup());
  for (ChannelId id = 0; id < control_->channels.size(); ++id) {
    writer.I2(static_cast<std::int16_t>(control_->channels.Direction(id)));
  }
  return writer.result();
}

HRESULT Instrument::Save(ByteStream& stream, std::string_view tail) {
  return Member([&] {
    const std::uint64_t written = changes_;  // A change that comes during the writing is not in the stream.
    HRESULT result = WriteConfiguration(stream);
    if (Succeeded(result) && !tail.empty()) result = stream.Write(tail);
    if (Succeeded(result)) saved_changes_ = written;
    return result;
  });
}

HRESULT Instrument::SaveCopy(ByteStream& stream) {
  return Member([&] { return WriteConfiguration(stream); });
}

HRESULT Instrument::Load(ByteStream& stream) {
  return Member([&]() -> HRESULT {
    ResetToDefaults();
    VariantReader reader(stream);
    const auto version_ms = reader.Ui4();
    const auto version_ls = version_ms ? reader.Ui4() : version_ms;
    if (!version_ms || !version_ls) return E_INVALIDARG;
    TraceVersion("Read", *version_ms, *version_ls);
    LoadRows(reader);  // A cut from here on is no failure: values read so far stay, the rest keeps its defaults.
    MarkClean();
    return S_OK;
  });
}

HRESULT Instrument::LoadRows(VariantReader& reader) {
  if (const HRESULT result = settings().Load(reader); Failed(result)) return result;
  LinkParams* params = control_->driver->link().settings().params;
  if (const HRESULT result = params ? params->LoadParams(reader) : S_OK; Failed(result)) return result;
  if (const HRESULT result = LoadGroups(reader); Failed(result)) return result;
  const auto highest = reader.Ui4();
  if (!highest) return highest.error();
  {
    const std::lock_guard lock(mutex_);
    highest_group_ = std::max(highest_group_, *highest);
  }
  for (ChannelId id = 0; id < control_->channels.size(); ++id) {
    const auto direction = reader.I2();
    if (!direction) return direction.error();
    control_->channels.SetDirection(id, *direction);
  }
  return S_OK;
}

HRESULT Instrument::LoadGroups(VariantReader& reader) {
  const auto count = reader.Ui2();
  if (!count) return count.error();
  std::set<std::uint32_t> ids;
  for (int i = 0; i < *count; ++i) {
    auto group = LoadGroup(reader, control_);
    if (!group || group->id() == 0 || !ids.insert(group->id()).second) return E_INVALIDARG;
    const std::lock_guard lock(mutex_);
    highest_group_ = std::max(highest_group_, group->id());
    groups_.push_back(std::move(group));
  }
  return S_OK;
}

}  // namespace ulix

// The members of IUlixInstr, in the order of their dispatch ids.
#include "controls/control_member.h"

namespace ulix::controls {
namespace {

// Ids and counts are unsigned in the library and signed in the interface.
std::uint32_t Id(long id) { return static_cast<std::uint32_t>(id); }

// Stores the four result arrays in the arguments of a host: all of them or none.
HRESULT PutArrays(const ChannelArrays& arrays, VARIANT* ids, VARIANT* values, VARIANT* errors, VARIANT* times) {
  OwnedVariant id_array, value_array, error_array, time_array;
  HRESULT result = ids ? PutIds(arrays.ids, id_array.get()) : S_OK;
  if (SUCCEEDED(result)) result = PutValues(arrays.values, value_array.get());
  if (SUCCEEDED(result)) result = PutErrors(arrays.errors, error_array.get());
  if (SUCCEEDED(result)) result = PutDates(arrays.times, time_array.get());
  if (FAILED(result)) return result;
  if (ids) *ids = id_array.Release();
  *values = value_array.Release();
  *errors = error_array.Release();
  *times = time_array.Release();
  return S_OK;
}

void InitAll(std::initializer_list<VARIANT*> places) {
  for (VARIANT* place : places) {
    if (place) VariantInit(place);
  }
}

}  // namespace

STDMETHODIMP Control::get_Version(BSTR* version) {
  return AnswerText(version, [&](std::string* text) { return instrument_->Version(text); });
}

STDMETHODIMP Control::GetBinVersion(long* version_ms, long* version_ls, int* error) {
  return Member([&] {
    std::uint32_t ms = 0, ls = 0;
    std::int32_t code = 0;
    const HRESULT result =
        instrument_->GetBinVersion(version_ms ? &ms : nullptr, version_ls ? &ls : nullptr, error ? &code : nullptr);
    if (version_ms) *version_ms = static_cast<long>(ms);
    if (version_ls) *version_ls = static_cast<long>(ls);
    if (error) *error = code;
    return result;
  });
}

STDMETHODIMP Control::GetDevVersion(BSTR* version) {
  return AnswerText(version, [&](std::string* text) { return instrument_->GetDevVersion(text); });
}

STDMETHODIMP Control::GetDevFileVersion(BSTR* version) {
  return AnswerText(version, [&](std::string* text) { return instrument_->GetDevFileVersion(text); });
}

STDMETHODIMP Control::get_Groups(VARIANT* groups) {
  return AnswerIds(groups, [&](std::vector<std::uint32_t>* ids) { return instrument_->Groups(ids); });
}

STDMETHODIMP Control::get_InChans(long group, VARIANT* channels) {
  return AnswerIds(channels, [&](std::vector<ChannelId>* ids) { return instrument_->InChans(Id(group), ids); });
}

STDMETHODIMP Control::get_Period(long group, long* period) {
  return Answer<std::uint32_t>(period, [&](auto* place) { return instrument_->Period(Id(group), place); });
}

STDMETHODIMP Control::get_DeadBand(long group, float* dead_band) {
  return Answer<float>(dead_band, [&](auto* place) { return instrument_->DeadBand(Id(group), place); });
}

STDMETHODIMP Control::get_DeadBandAbs(long group, float* dead_band) {
  return Answer<float>(dead_band, [&](auto* place) { return instrument_->DeadBandAbs(Id(group), place); });
}

STDMETHODIMP Control::get_DeadTimeMax(long group, long* time) {
  return Answer<std::uint32_t>(time, [&](auto* place) { return instrument_->DeadTimeMax(Id(group), place); });
}

STDMETHODIMP Control::get_OutChans(VARIANT* channels) {
  return AnswerIds(channels, [&](std::vector<ChannelId>* ids) { return instrument_->OutChans(ids); });
}

STDMETHODIMP Control::CreateGroup(long* group) {
  return Answer<std::uint32_t>(group, [&](auto* place) { return instrument_->CreateGroup(place); });
}

STDMETHODIMP Control::RemoveGroup(long group) {
  return Member([&] { return instrument_->RemoveGroup(Id(group)); });
}

STDMETHODIMP Control::EditGroup(long group, int* result) {
  return Answer<std::int32_t>(result, [&](auto* place) { return instrument_->EditGroup(Id(group), place); });
}

STDMETHODIMP Control::EditOutChans(int* result) {
  return Answer<std::int32_t>(result, [&](auto* place) { return instrument_->EditOutChans(place); });
}

STDMETHODIMP Control::EditCommParams(int* result) {
  return Answer<std::int32_t>(result, [&](auto* place) { return instrument_->EditCommParams(place); });
}

STDMETHODIMP Control::Connect() {
  return Member([&] { return instrument_->Connect(); });
}

STDMETHODIMP Control::Disconnect() {
  return Member([&] { return instrument_->Disconnect(); });
}

STDMETHODIMP Control::IsConnected(long* connected) {
  return Answer<std::int32_t>(connected, [&](auto* place) { return instrument_->IsConnected(place); });
}

STDMETHODIMP Control::Identify(BSTR* identification) {
  return AnswerText(identification, [&](std::string* text) { return instrument_->Identify(text); });
}

STDMETHODIMP Control::EditCfg(int* result) {
  return Answer<std::int32_t>(result, [&](auto* place) { return instrument_->EditCfg(place); });
}

STDMETHODIMP Control::SendCfg() {
  return Member([&] { return instrument_->SendCfg(); });
}

STDMETHODIMP Control::ReadCfg() {
  return Member([&] { return instrument_->ReadCfg(); });
}

STDMETHODIMP Control::GetChanDir(long channel, int* direction) {
  return Answer<std::int32_t>(direction, [&](auto* place) { return instrument_->GetChanDir(Id(channel), place); });
}

STDMETHODIMP Control::GetChanName(long channel, BSTR* name) {
  return AnswerText(name, [&](std::string* text) { return instrument_->GetChanName(Id(channel), text); });
}

STDMETHODIMP Control::GetChanUnit(long channel, BSTR* unit) {
  return AnswerText(unit, [&](std::string* text) { return instrument_->GetChanUnit(Id(channel), text); });
}

STDMETHODIMP Control::GetChanResol(long channel, short* resolution) {
  return Answer<std::int16_t>(resolution, [&](auto* place) { return instrument_->GetChanResol(Id(channel), place); });
}

STDMETHODIMP Control::GetChanLim(long channel, short index, float* limit, short* level) {
  if (limit) *limit = 0.0F;
  return Answer<std::int16_t>(level,
                              [&](auto* place) { return instrument_->GetChanLim(Id(channel), index, limit, place); });
}

STDMETHODIMP Control::RunGroup(long group) {
  return Member([&] { return instrument_->RunGroup(Id(group)); });
}

STDMETHODIMP Control::StopGroup(long group) {
  return Member([&] { return instrument_->StopGroup(Id(group)); });
}

STDMETHODIMP Control::IsGroupRunning(long group, long* running) {
  return Answer<std::int32_t>(running, [&](auto* place) { return instrument_->IsGroupRunning(Id(group), place); });
}

STDMETHODIMP Control::RunAllGroups() {
  return Member([&] { return instrument_->RunAllGroups(); });
}

STDMETHODIMP Control::StopAllGroups() {
  return Member([&] { return instrument_->StopAllGroups(); });
}

STDMETHODIMP Control::GetChansVals(VARIANT channels, VARIANT* values, VARIANT* errors, VARIANT* times) {
  return Member([&]() -> HRESULT {
    InitAll({values, errors, times});
    const auto ids = IdsIn(channels);
    if (!values || !errors || !times || !ids) return E_INVALIDARG;
    ChannelArrays arrays;
    const HRESULT result = instrument_->GetChansVals(*ids, &arrays);
    return FAILED(result) ? result : PutArrays(arrays, nullptr, values, errors, times);
  });
}

STDMETHODIMP Control::SetChansVals(VARIANT channels, VARIANT values) {
  return Member([&]() -> HRESULT {
    const auto ids = IdsIn(channels);
    const auto wanted = ValuesIn(values);
    return ids && wanted ? instrument_->SetChansVals(*ids, *wanted) : E_INVALIDARG;
  });
}

STDMETHODIMP Control::ImmediateReadGroups(VARIANT groups) {
  return Member([&]() -> HRESULT {
    const auto ids = IdsIn(groups);
    return ids ? instrument_->ImmediateReadGroups(*ids) : E_INVALIDARG;
  });
}

STDMETHODIMP Control::GetDevStatus(long* status) {
  return Answer<std::uint32_t>(status, [&](auto* place) { return instrument_->GetDevStatus(place); });
}

STDMETHODIMP Control::GetErrorText(long error, long short_text, int* unknown, BSTR* text) {
  if (unknown) *unknown = 0;
  return AnswerText(text, [&](std::string* place) {
    std::int32_t is_unknown = 0;
    const HRESULT result = instrument_->GetErrorText(error, short_text != 0, unknown ? &is_unknown : nullptr, place);
    if (unknown) *unknown = is_unknown;
    return result;
  });
}

STDMETHODIMP Control::ShowProperties() {
  return Member([&] { return instrument_->ShowProperties(); });
}

STDMETHODIMP Control::get_InstrType(BSTR* type) {
  return AnswerText(type, [&](std::string* text) { return instrument_->InstrType(text); });
}

STDMETHODIMP Control::GetChanDefName(long channel, BSTR* name) {
  return AnswerText(name, [&](std::string* text) { return instrument_->GetChanDefName(Id(channel), text); });
}

STDMETHODIMP Control::get_UseConnected(long* use_connected) {
  return Answer<std::int32_t>(use_connected, [&](auto* place) { return instrument_->UseConnected(place); });
}

STDMETHODIMP Control::HasCommParams(long* has) {
  return Answer<std::int32_t>(has, [&](auto* place) { return instrument_->HasCommParams(place); });
}

STDMETHODIMP Control::HasCfg(long* has) {
  return Answer<std::int32_t>(has, [&](auto* place) { return instrument_->HasCfg(place); });
}

STDMETHODIMP Control::CfgHasInChans(long* has) {
  return Answer<std::int32_t>(has, [&](auto* place) { return instrument_->CfgHasInChans(place); });
}

STDMETHODIMP Control::CfgHasOutChans(long* has) {
  return Answer<std::int32_t>(has, [&](auto* place) { return instrument_->CfgHasOutChans(place); });
}

STDMETHODIMP Control::Run() {
  return Member([&] { return instrument_->Run(); });
}

STDMETHODIMP Control::Stop() {
  return Member([&] { return instrument_->Stop(); });
}

STDMETHODIMP Control::GetCommInfo(BSTR* info) {
  return AnswerText(info, [&](std::string* text) { return instrument_->GetCommInfo(text); });
}

STDMETHODIMP Control::CanEditOutChans(long* can) {
  return Answer<std::int32_t>(can, [&](auto* place) { return instrument_->CanEditOutChans(place); });
}

STDMETHODIMP Control::SetChanVal(long channel, VARIANT value) {
  return Member([&] { return instrument_->SetChanVal(Id(channel), ValueOf(value)); });
}

STDMETHODIMP Control::RemoveGroupChan(long group, long channel) {
  return Member([&] { return instrument_->RemoveGroupChan(Id(group), Id(channel)); });
}

STDMETHODIMP Control::ConnectGroupChan(long group, long channel) {
  return Member([&] { return instrument_->ConnectGroupChan(Id(group), Id(channel)); });
}

STDMETHODIMP Control::GetCfgText(BSTR* text) {
  return AnswerText(text, [&](std::string* place) { return instrument_->GetCfgText(place); });
}

STDMETHODIMP Control::get_ExplKeyNum(short* number) {
  return Answer<std::int16_t>(number, [&](auto* place) { return instrument_->ExplKeyNum(place); });
}

STDMETHODIMP Control::get_MemBlocks(VARIANT* blocks) {
  return AnswerIds(blocks, [&](std::vector<std::uint32_t>* ids) { return instrument_->MemBlocks(ids); });
}

STDMETHODIMP Control::CfgHasMemBlocks(long* has) {
  return Answer<std::int32_t>(has, [&](auto* place) { return instrument_->CfgHasMemBlocks(place); });
}

STDMETHODIMP Control::GetMemBlockStatus(long block, long* size, long* records, long* destructive, long* recording) {
  return Member([&] {
    std::uint32_t block_size = 0, held = 0;
    std::int32_t is_destructive = 0, is_recording = 0;
    const HRESULT result =
        instrument_->GetMemBlockStatus(block, size ? &block_size : nullptr, records ? &held : nullptr,
                                       destructive ? &is_destructive : nullptr, recording ? &is_recording : nullptr);
    if (size) *size = static_cast<long>(block_size);
    if (records) *records = static_cast<long>(held);
    if (destructive) *destructive = is_destructive;
    if (recording) *recording = is_recording;
    return result;
  });
}

STDMETHODIMP Control::ReadMemBlock(long block, long records_max, long clear, VARIANT* channels, VARIANT* values,
                                   VARIANT* errors, VARIANT* times, long* records_read) {
  return Member([&]() -> HRESULT {
    InitAll({channels, values, errors, times});
    if (records_read) *records_read = 0;
    if (!channels || !values || !errors || !times || !records_read) return E_INVALIDARG;
    ChannelArrays arrays;
    std::uint32_t read = 0;
    const HRESULT result = instrument_->ReadMemBlock(block, Id(records_max), clear != 0, &arrays, &read);
    // When only the clearing of the memory failed, the records are returned together with the failure.
    if (FAILED(result) && arrays.size() == 0) return result;
    const HRESULT put = PutArrays(arrays, channels, values, errors, times);
    if (SUCCEEDED(put)) *records_read = static_cast<long>(read);
    return FAILED(result) ? result : put;
  });
}

STDMETHODIMP Control::ClearMemBlock(long block, long records) {
  return Member([&] { return instrument_->ClearMemBlock(block, Id(records)); });
}

STDMETHODIMP Control::GetMemBlockName(long block, BSTR* name) {
  return AnswerText(name, [&](std::string* text) { return instrument_->GetMemBlockName(block, text); });
}

STDMETHODIMP Control::GetMemBlockSize(long block, long* size) {
  return Answer<std::uint32_t>(size, [&](auto* place) { return instrument_->GetMemBlockSize(block, place); });
}

STDMETHODIMP Control::GetMemBlockCyclePeriod(long block, long* cycle_records, long* cycle_period) {
  return Member([&] {
    std::uint32_t records = 0, period = 0;
    const HRESULT result = instrument_->GetMemBlockCyclePeriod(block, cycle_records ? &records : nullptr,
                                                               cycle_period ? &period : nullptr);
    if (cycle_records) *cycle_records = static_cast<long>(records);
    if (cycle_period) *cycle_period = static_cast<long>(period);
    return result;
  });
}

}  // namespace ulix::controls

#include "controls/control.h"

#include <olectl.h>

#include <new>

#include "controls/control_member.h"
#include "controls/dialogs/window_text.h"
#include "controls/error_report.h"
#include "controls/host_object.h"
#include "platform/user_locale.h"

namespace ulix::controls {
namespace {

std::unique_ptr<Instrument> MakeInstrument(const ControlRow& row, UserInterface& user_interface) {
  Instrument::Options options;
  options.language = platform::UserLanguage();
  options.user_interface = &user_interface;
  return std::make_unique<Instrument>(ModelOf(row)->create({}), options);
}

}  // namespace

HostedControl Control::HostedFaceOf(const ControlRow& row) {
  return {row.class_id, WideOf(instrument_->card().display_name.In(platform::UserLanguage())), row.class_name,
          [this] { instrument_->ShowProperties(); }};
}

Control::Control(const ControlRow& row)
    : TypedDispatch(__uuidof(IUlixInstr)),
      row_(row),
      desktop_(platform::UserLanguage()),
      instrument_(MakeInstrument(row, desktop_)),
      events_(*this, instrument_->events()),
      spec_(row.spec_id, *this),
      debug_(row.debug_id, *this),
      hosting_(*static_cast<IUlixInstr*>(this), HostedFaceOf(row)) {}

// When there is no memory for the description, only the code is returned.
HRESULT Control::ReportIfFailed(HRESULT result) const noexcept {
  if (SUCCEEDED(result)) return result;
  Guarded([&] {
    ErrorInfo info = TakeErrorInfo();
    // The instrument did not record this failure: take the general description of the code.
    if (info.code != result) info.description = instrument_->DescriptionOf(result);
    ReportError(__uuidof(IUlixInstr), WideProgId(ControlClass(row_.class_name), true), info.description);
    return S_OK;
  });
  return result;
}

// The interface with the given id; null when the control does not implement it.
void* Control::Find(REFIID id) {
  const struct {
    const IID& id;
    void* part;
  } parts[] = {
      {IID_IUnknown, static_cast<IUlixInstr*>(this)},
      {IID_IDispatch, static_cast<IUlixInstr*>(this)},
      {__uuidof(IUlixInstr), static_cast<IUlixInstr*>(this)},
      {row_.spec_id, static_cast<ISpecForm*>(&spec_)},
      {row_.debug_id, static_cast<IDebugForm*>(&debug_)},
      {IID_ISupportErrorInfo, static_cast<ISupportErrorInfo*>(this)},
      {IID_IConnectionPointContainer, static_cast<IConnectionPointContainer*>(this)},
      {IID_IProvideClassInfo, static_cast<IProvideClassInfo*>(this)},
      {IID_IProvideClassInfo2, static_cast<IProvideClassInfo2*>(this)},
      {IID_IPersist, static_cast<IPersist*>(static_cast<IPersistStreamInit*>(this))},
      {IID_IPersistStreamInit, static_cast<IPersistStreamInit*>(this)},
      {IID_IPersistStorage, static_cast<IPersistStorage*>(this)},
      {IID_IPersistPropertyBag, static_cast<IPersistPropertyBag*>(this)},
      {kInstrumentAccessId, static_cast<IInstrumentAccess*>(this)},
  };
  for (const auto& part : parts) {
    if (IsEqualIID(part.id, id)) return part.part;
  }
  return hosting_.Find(id);
}

STDMETHODIMP Control::QueryInterface(REFIID id, void** object) {
  if (!object) return E_POINTER;
  *object = Find(id);
  if (!*object) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

STDMETHODIMP_(ULONG) Control::AddRef() { return ++references_; }

STDMETHODIMP_(ULONG) Control::Release() {
  const ULONG left = --references_;
  if (left == 0) {
    ++references_;  // so that a call from a sink during the destruction does not delete the object a second time
    delete this;
  }
  return left;
}

STDMETHODIMP Control::InterfaceSupportsErrorInfo(REFIID id) {
  return IsEqualIID(id, __uuidof(IUlixInstr)) ? S_OK : S_FALSE;
}

STDMETHODIMP Control::EnumConnectionPoints(IEnumConnectionPoints** points) { return EnumThePoint(events_, points); }

STDMETHODIMP Control::FindConnectionPoint(REFIID id, IConnectionPoint** point) {
  if (!point) return E_POINTER;
  *point = nullptr;
  if (!IsEqualIID(id, __uuidof(IUlixInstrEvents))) return CONNECT_E_NOCONNECTION;
  AddRef();
  *point = &events_;
  return S_OK;
}

STDMETHODIMP Control::GetClassInfo(ITypeInfo** info) {
  if (!info) return E_POINTER;
  *info = nullptr;
  return LoadOwnTypeInfo(row_.class_id, info);
}

STDMETHODIMP Control::GetGUID(DWORD kind, GUID* id) {
  if (!id) return E_POINTER;
  *id = kind == GUIDKIND_DEFAULT_SOURCE_DISP_IID ? __uuidof(IUlixInstrEvents) : GUID_NULL;
  return kind == GUIDKIND_DEFAULT_SOURCE_DISP_IID ? S_OK : E_INVALIDARG;
}

STDMETHODIMP Control::SpecPart::get_SetPointObject(IDispatch** object) {
  return control_.Member([&]() -> HRESULT {
    if (!object) return E_INVALIDARG;
    const std::lock_guard lock(mutex_);
    return object_.CopyTo(object);
  });
}

STDMETHODIMP Control::SpecPart::put_SetPointObject(IDispatch* object) {
  return control_.Member([&] {
    ComPtr<IDispatch> held(object);
    SetPointObject forward;
    if (held)
      forward = [held](std::uint32_t address, float degrees) { return CallSetPoint(*held.Get(), address, degrees); };
    const HRESULT result = control_.instrument_->SetSetPointObject(std::move(forward));
    if (FAILED(result)) return result;
    const std::lock_guard lock(mutex_);
    object_.Swap(held);  // `held` releases the previous object later, outside the lock
    return result;
  });
}

// Creates two groups, each with all inputs. The second group is slower and has dead bands.
HRESULT Control::CreateTestConfiguration() {
  return Member([&]() -> HRESULT {
    const GroupSettings settings[] = {{}, {.period_ms = 5000, .dead_band_percent = 1.0F, .dead_time_max_s = 60}};
    HRESULT result = instrument_->InitNew();
    for (const GroupSettings& wanted : settings) {
      std::uint32_t group = 0;
      if (SUCCEEDED(result)) result = instrument_->CreateGroup(&group);
      if (SUCCEEDED(result)) result = instrument_->SetGroupSettings(group, wanted);
      for (ChannelId id = 0; SUCCEEDED(result) && id < instrument_->card().channels.size(); ++id) {
        if (instrument_->card().channels[id].direction != ChanOut) result = instrument_->ConnectGroupChan(group, id);
      }
    }
    return result;
  });
}

}  // namespace ulix::controls

#include "controls/setup_object.h"

#include <new>

#include "base/text.h"
#include "controls/error_report.h"
#include "controls/variants.h"
#include "platform/user_locale.h"
#include "resources/texts.h"

namespace ulix::controls {
namespace {

const LineField* FindLineField(BSTR wanted) {
  const std::string key = AnsiOf(wanted);
  for (const LineField& field : LineFields()) {
    if (EqualIgnoringCase(field.key, key)) return &field;
  }
  return nullptr;
}

}  // namespace

STDMETHODIMP SetupObject::QueryInterface(REFIID id, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  const bool setup =
      IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IDispatch) || IsEqualIID(id, __uuidof(IUlixSetup));
  if (setup) *object = static_cast<IUlixSetup*>(this);
  if (IsEqualIID(id, IID_ISupportErrorInfo)) *object = static_cast<ISupportErrorInfo*>(this);
  if (!*object) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

STDMETHODIMP_(ULONG) SetupObject::Release() {
  const ULONG left = --references_;
  if (left == 0) delete this;
  return left;
}

STDMETHODIMP SetupObject::InterfaceSupportsErrorInfo(REFIID id) {
  return IsEqualIID(id, __uuidof(IUlixSetup)) ? S_OK : S_FALSE;
}

HRESULT SetupObject::ReportIfFailed(HRESULT result) const noexcept {
  if (FAILED(result)) {
    Guarded([&] {
      Describe(result);
      return S_OK;
    });
  }
  return result;
}

void SetupObject::Describe(HRESULT result) const {
  const Language language = platform::UserLanguage();
  const std::string text = control_                 ? control_->Access().DescriptionOf(result)
                           : result == E_UNEXPECTED ? Localized(TextId::kNotAttached, language)
                                                    : Localized(TextId::kInvalidArgument, language);
  ReportError(__uuidof(IUlixSetup), WideProgId(kSetupClass, true), text);
}

template <typename Body>
HRESULT SetupObject::Attached(Body&& body) {
  return ReportIfFailed(Guarded([&]() -> HRESULT { return control_ ? body(control_->Access()) : E_UNEXPECTED; }));
}

STDMETHODIMP SetupObject::Attach(IUnknown* control) {
  ComPtr<IInstrumentAccess> access;
  if (!control ||
      FAILED(control->QueryInterface(kInstrumentAccessId, reinterpret_cast<void**>(access.GetAddressOf())))) {
    return ReportIfFailed(E_INVALIDARG);
  }
  control_ = access;
  return S_OK;
}

STDMETHODIMP SetupObject::get_Keys(VARIANT* keys) {
  if (keys) VariantInit(keys);
  return Attached([&](Instrument& instrument) -> HRESULT {
    if (!keys) return E_INVALIDARG;
    std::vector<std::string> names;
    for (const SettingRow& row : instrument.settings().rows()) names.emplace_back(row.key);
    return PutTexts(names, keys);
  });
}

STDMETHODIMP SetupObject::get_Setting(BSTR key, BSTR* value) {
  if (value) *value = nullptr;
  return Attached([&](Instrument& instrument) -> HRESULT {
    const SettingRow* row = instrument.settings().Find(AnsiOf(key));
    if (!value || !row) return E_INVALIDARG;
    *value = BstrOf(instrument.settings().TextOf(*row));
    return *value ? S_OK : E_OUTOFMEMORY;
  });
}

STDMETHODIMP SetupObject::put_Setting(BSTR key, BSTR value) {
  return Attached([&](Instrument& instrument) -> HRESULT {
    const SettingRow* row = instrument.settings().Find(AnsiOf(key));
    if (!row) return E_INVALIDARG;
    const HRESULT result = instrument.settings().SetText(*row, AnsiOf(value));
    if (SUCCEEDED(result)) instrument.MarkDirty();
    return result;
  });
}

STDMETHODIMP SetupObject::get_Serial(BSTR key, long* value) {
  return Attached([&](Instrument& instrument) -> HRESULT {
    const LineField* found = FindLineField(key);
    if (!value || !found) return E_INVALIDARG;
    SerialParams params;
    const HRESULT result = instrument.GetSerialParams(&params);
    *value = SUCCEEDED(result) ? static_cast<long>(NumberIn(params, *found)) : 0;
    return result;
  });
}

STDMETHODIMP SetupObject::put_Serial(BSTR key, long value) {
  return Attached([&](Instrument& instrument) -> HRESULT {
    const LineField* found = FindLineField(key);
    if (!found || value < 0) return E_INVALIDARG;
    SerialParams params;
    const HRESULT result = instrument.GetSerialParams(&params);
    if (FAILED(result)) return result;
    SetNumber(params, *found, value);
    return instrument.SetSerialParams(params);
  });
}

STDMETHODIMP SetupObject::GetGroup(long group, long* period, float* dead_band, float* dead_band_abs, long* dead_time) {
  return Attached([&](Instrument& instrument) -> HRESULT {
    if (!period || !dead_band || !dead_band_abs || !dead_time) return E_INVALIDARG;
    GroupSettings settings;
    const HRESULT result = instrument.GetGroupSettings(static_cast<std::uint32_t>(group), &settings);
    if (FAILED(result)) return result;
    *period = static_cast<long>(settings.period_ms);
    *dead_band = settings.dead_band_percent;
    *dead_band_abs = settings.dead_band_abs;
    *dead_time = static_cast<long>(settings.dead_time_max_s);
    return S_OK;
  });
}

STDMETHODIMP SetupObject::SetGroup(long group, long period, float dead_band, float dead_band_abs, long dead_time) {
  return Attached([&](Instrument& instrument) -> HRESULT {
    if (period < 0 || dead_time < 0) return E_INVALIDARG;
    return instrument.SetGroupSettings(
        static_cast<std::uint32_t>(group),
        {static_cast<std::uint32_t>(period), dead_band, dead_band_abs, static_cast<std::uint32_t>(dead_time)});
  });
}

STDMETHODIMP SetupObject::get_Spec(IDispatch** spec) {
  if (spec) *spec = nullptr;
  return Attached([&](Instrument&) -> HRESULT {
    if (!spec) return E_INVALIDARG;
    *spec = &control_->Spec();
    (*spec)->AddRef();
    return S_OK;
  });
}

}  // namespace ulix::controls

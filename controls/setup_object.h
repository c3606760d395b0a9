// Ulix.UlixSetup.1: access to the settings of a control by key, for programs that show no dialog.
#pragma once

#include <atomic>

#include "UlixInstrAx.h"
#include "controls/control.h"

namespace ulix::controls {

// The object is attached to one control at a time and keeps it alive. Members return E_UNEXPECTED before Attach, and
// E_INVALIDARG for an unknown key, for a value that the setting does not accept and for an unknown group. A member that
// fails changes nothing.
class SetupObject final : public TypedDispatch<IUlixSetup>, public ISupportErrorInfo {
 public:
  SetupObject() : TypedDispatch(__uuidof(IUlixSetup)) {}

  STDMETHODIMP QueryInterface(REFIID id, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override;
  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID id) override;

  // Attaches to a control. It must be a control of this library in the same apartment.
  STDMETHODIMP Attach(IUnknown* control) override;
  STDMETHODIMP get_Keys(VARIANT* keys) override;
  STDMETHODIMP get_Setting(BSTR key, BSTR* value) override;
  STDMETHODIMP put_Setting(BSTR key, BSTR value) override;
  // Serial settings by key, as stored codes: port, baud, data-bits, stop-bits, parity, handshake. A change takes effect
  // at the next connection.
  STDMETHODIMP get_Serial(BSTR key, long* value) override;
  STDMETHODIMP put_Serial(BSTR key, long value) override;
  STDMETHODIMP GetGroup(long group, long* period, float* dead_band, float* dead_band_abs, long* dead_time) override;
  STDMETHODIMP SetGroup(long group, long period, float dead_band, float dead_band_abs, long dead_time) override;
  STDMETHODIMP get_Spec(IDispatch** spec) override;

 private:
  ~SetupObject() = default;
  template <typename Body>
  HRESULT Attached(Body&& body);
  HRESULT ReportIfFailed(HRESULT result) const noexcept;
  void Describe(HRESULT result) const;

  const InUse in_use_;
  std::atomic<ULONG> references_ = 1;
  ComPtr<IInstrumentAccess> control_;
};

}  // namespace ulix::controls

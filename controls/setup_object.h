// Ulix.UlixSetup.1: a control's settings by key, for programs that show no dialog.
#pragma once

#include <atomic>

#include "UlixInstrAx.h"
#include "controls/control.h"

namespace ulix::controls {

// Attached to one control at a time, which it keeps alive. E_UNEXPECTED before Attach; E_INVALIDARG for an unknown key,
// a value that the setting does not take, an unknown group. Nothing changes on failure.
class SetupObject final : public TypedDispatch<IUlixSetup>, public ISupportErrorInfo {
 public:
  SetupObject() : TypedDispatch(__uuidof(IUlixSetup)) {}

  STDMETHODIMP QueryInterface(REFIID id, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override;
  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID id) override;

  // A control of this library, in the same apartment.
  STDMETHODIMP Attach(IUnknown* control) override;
  STDMETHODIMP get_Keys(VARIANT* keys) override;
  STDMETHODIMP get_Setting(BSTR key, BSTR* value) override;
  STDMETHODIMP put_Setting(BSTR key, BSTR value) override;
  // port, baud, data-bits, stop-bits, parity, handshake, as stored codes; for the next connection.
  STDMETHODIMP get_Serial(BSTR key, long* value) override;
  STDMETHODIMP put_Serial(BSTR key, long value) override;
  STDMETHODIMP GetGroup(long group, long* period, float* dead_band, float* dead_band_abs, long* dead_time) override;
  STDMETHODIMP SetGroup(long group, long period, float dead_band, float dead_band_abs, long dead_time) override;
  STDMETHODIMP get_Spec(IDispatch** spec) override;

 private:
  ~SetupObject() = default;
  template <typename Body>
  HRESULT Attached(Body&& body);
  HRESULT Told(HRESULT result) const noexcept;
  void Describe(HRESULT result) const;

  const InUse in_use_;
  std::atomic<ULONG> references_ = 1;
  ComPtr<IInstrumentAccess> control_;
};

}  // namespace ulix::controls

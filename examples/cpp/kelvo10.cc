// Example of a host in C++. It connects a Kelvo10 by late binding, then scans its input by early binding, with events.
// Usage: kelvo10.exe PORT. Of this project it needs only the header generated from the type library.
#include <olectl.h>
#include <windows.h>
#include <wrl/client.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "UlixInstrAx.h"

using Microsoft::WRL::ComPtr;

namespace {

// Prints the results of a scan. The control calls it on its scan thread, so it must be quick and must not call the
// control.
class Printer final : public IUlixInstrEvents {
 public:
  explicit Printer(int scans) : left_(scans) {}
  bool Done() const { return left_ <= 0; }

  STDMETHODIMP DataChange(long, long channels, VARIANT, VARIANT values, VARIANT errors, VARIANT) override {
    for (LONG k = 0; k < channels; ++k) {
      VARIANT value;
      VariantInit(&value);
      LONG error = 0;
      SafeArrayGetElement(values.parray, &k, &value);
      SafeArrayGetElement(errors.parray, &k, &error);
      if (error == 0) std::printf("IN: %g\n", value.fltVal);
      if (error != 0) std::printf("IN: error 0x%08lX\n", static_cast<unsigned long>(error));
      VariantClear(&value);
    }
    return S_OK;
  }
  STDMETHODIMP MeasReady(long) override {
    --left_;
    return S_OK;
  }
  STDMETHODIMP DevStatusChange(long) override { return S_OK; }
  STDMETHODIMP DevError(long) override { return S_OK; }
  STDMETHODIMP SysError(long) override { return S_OK; }
  STDMETHODIMP Progress(short) override { return S_OK; }
  STDMETHODIMP CfgGroupChange(long) override { return S_OK; }

  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, __uuidof(IUlixInstrEvents));
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }  // the object is on the stack and outlives the connection
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
    return E_NOTIMPL;
  }

 private:
  std::atomic<int> left_;
};

int Failed(const char* what, HRESULT code) {
  ComPtr<IErrorInfo> info;
  BSTR text = nullptr;
  if (GetErrorInfo(0, &info) == S_OK) info->GetDescription(&text);
  std::printf("%s: 0x%08lX %ls\n", what, static_cast<unsigned long>(code), text ? text : L"");
  SysFreeString(text);
  return 1;
}

template <typename Interface>
HRESULT Create(const wchar_t* prog_id, ComPtr<Interface>& object) {
  CLSID id;
  const HRESULT known = CLSIDFromProgID(prog_id, &id);
  if (FAILED(known)) return known;
  return CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface),
                          reinterpret_cast<void**>(object.GetAddressOf()));
}

// Calls a member without arguments by its name.
HRESULT Call(IDispatch* object, const wchar_t* name) {
  DISPID id = 0;
  auto* text = const_cast<wchar_t*>(name);
  DISPPARAMS none{};
  EXCEPINFO exception{};
  HRESULT result = object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id);
  if (SUCCEEDED(result)) {
    result = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &none, nullptr, &exception, nullptr);
  }
  return result == DISP_E_EXCEPTION ? exception.scode : result;
}

HRESULT Scan(IUlixInstr* control, IUlixSetup* setup) {
  Printer printer(3);
  ComPtr<IConnectionPointContainer> container;
  ComPtr<IConnectionPoint> point;
  DWORD cookie = 0;
  long group = 0;
  HRESULT result =
      control->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(container.GetAddressOf()));
  if (SUCCEEDED(result)) result = container->FindConnectionPoint(__uuidof(IUlixInstrEvents), &point);
  if (SUCCEEDED(result)) result = point->Advise(&printer, &cookie);
  if (SUCCEEDED(result)) result = control->CreateGroup(&group);
  if (SUCCEEDED(result)) result = setup->SetGroup(group, 200, 0, 0, 0);
  if (SUCCEEDED(result)) result = control->ConnectGroupChan(group, 0);
  if (SUCCEEDED(result)) result = control->RunGroup(group);
  for (int waited = 0; SUCCEEDED(result) && !printer.Done() && waited < 100; ++waited) Sleep(50);
  if (group != 0) control->StopGroup(group);
  if (cookie != 0) point->Unadvise(cookie);
  return result;
}

int Run(long port) {
  ComPtr<IUlixInstr> control;
  ComPtr<IUlixSetup> setup;
  HRESULT result = Create(L"Ulix.UlixInstrKelvo10Ctl.1", control);
  if (SUCCEEDED(result)) result = Create(L"Ulix.UlixSetup.1", setup);
  if (FAILED(result)) return Failed("The server is not registered", result);
  setup->Attach(control.Get());
  BSTR key = SysAllocString(L"port");
  setup->put_Serial(key, port);
  SysFreeString(key);
  result = Call(control.Get(), L"Connect");
  if (FAILED(result)) return Failed("Connect", result);
  result = Scan(control.Get(), setup.Get());
  if (FAILED(result)) Failed("Scan", result);
  control->Disconnect();
  return FAILED(result) ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const int result = Run(argc > 1 ? std::atol(argv[1]) : 1);
  CoUninitialize();
  return result;
}

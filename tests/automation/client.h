// Helpers for a program that knows only the type library: creation of objects, variants, a sink, late-bound calls.
#pragma once

#include <oaidl.h>
#include <ocidl.h>
#include <olectl.h>
#include <windows.h>
#include <wrl/client.h>

#include <array>
#include <condition_variable>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <string>
#include <vector>

#include "UlixInstrAx.h"

namespace client {

using Microsoft::WRL::ComPtr;

inline constexpr wchar_t kProgId[] = L"Ulix.UlixInstrKelvo10Ctl.1";

template <typename Interface>
ComPtr<Interface> Create(const wchar_t* prog_id) {
  CLSID id;
  ComPtr<Interface> object;
  if (SUCCEEDED(CLSIDFromProgID(prog_id, &id))) {
    CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface),
                     reinterpret_cast<void**>(object.GetAddressOf()));
  }
  return object;
}

// A variant that clears itself.
struct Variant : VARIANT {
  Variant() { VariantInit(this); }
  explicit Variant(double value) : Variant() {
    vt = VT_R8;
    dblVal = value;
  }
  explicit Variant(long value) : Variant() {
    vt = VT_I4;
    lVal = value;
  }
  explicit Variant(const wchar_t* text) : Variant() {
    vt = VT_BSTR;
    bstrVal = SysAllocString(text);
  }
  Variant(Variant&& other) noexcept : VARIANT(other) { VariantInit(&other); }
  Variant(const Variant&) = delete;
  ~Variant() { VariantClear(this); }
};

inline Variant IdArray(std::initializer_list<long> ids) {
  Variant variant;
  variant.vt = VT_ARRAY | VT_I4;
  variant.parray = SafeArrayCreateVector(VT_I4, 0, static_cast<ULONG>(ids.size()));
  LONG k = 0;
  for (long id : ids) {
    SafeArrayPutElement(variant.parray, &k, &id);
    ++k;
  }
  return variant;
}

template <typename Element>
std::vector<Element> Elements(const VARIANT& variant) {
  void* data = nullptr;
  SafeArrayAccessData(variant.parray, &data);
  const auto* first = static_cast<const Element*>(data);
  std::vector<Element> elements(first, first + variant.parray->rgsabound[0].cElements);
  SafeArrayUnaccessData(variant.parray);
  return elements;
}

// A string for the interface.
class Text {
 public:
  explicit Text(const wchar_t* text) : text_(SysAllocString(text)) {}
  Text(const Text&) = delete;
  ~Text() { SysFreeString(text_); }
  operator BSTR() const { return text_; }

 private:
  BSTR text_;
};

// Takes a string that the interface returned, and frees it.
inline std::wstring Taken(BSTR text) {
  const std::wstring taken = text ? std::wstring(text, SysStringLen(text)) : std::wstring();
  SysFreeString(text);
  return taken;
}

struct Failure {
  std::wstring description;
  std::wstring source;
  GUID interface_id{};
};

// Takes the thread's error information, and clears it.
inline Failure TakeFailure() {
  Failure failure;
  ComPtr<IErrorInfo> info;
  if (GetErrorInfo(0, &info) != S_OK) return failure;
  BSTR text = nullptr;
  if (SUCCEEDED(info->GetDescription(&text))) failure.description = Taken(text);
  if (SUCCEEDED(info->GetSource(&text))) failure.source = Taken(text);
  info->GetGUID(&failure.interface_id);
  return failure;
}

// Calls a member by name. The arguments are in the order of the declaration.
inline HRESULT CallByName(IDispatch* object, const wchar_t* name, WORD kind, std::vector<VARIANT> arguments,
                          VARIANT* result) {
  DISPID id = 0;
  auto* text = const_cast<wchar_t*>(name);
  const HRESULT found = object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id);
  if (FAILED(found)) return found;
  std::vector<VARIANT> reversed(arguments.rbegin(), arguments.rend());
  DISPID put = DISPID_PROPERTYPUT;
  const bool puts = kind == DISPATCH_PROPERTYPUT;
  DISPPARAMS parameters{reversed.data(), puts ? &put : nullptr, static_cast<UINT>(reversed.size()), puts ? 1U : 0U};
  EXCEPINFO exception{};
  const HRESULT called =
      object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters, result, &exception, nullptr);
  return called == DISP_E_EXCEPTION ? exception.scode : called;
}

// A sink that is called through its interface table, on the group's scan thread.
class Sink final : public IUlixInstrEvents {
 public:
  struct Data {
    long group;
    long quantity;
    std::array<VARTYPE, 4> types;
    std::vector<long> ids;
    std::vector<VARIANT> values;
    std::vector<long> errors;
    std::vector<DATE> times;
  };

  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, __uuidof(IUlixInstrEvents));
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
    return E_NOTIMPL;
  }

  STDMETHODIMP MeasReady(long group) override {
    Note(L"ready " + std::to_wstring(group));
    return S_OK;
  }
  STDMETHODIMP DataChange(long group, long quantity, VARIANT ids, VARIANT values, VARIANT errors,
                          VARIANT times) override {
    {
      const std::lock_guard lock(mutex_);
      data_.push_back({group,
                       quantity,
                       {ids.vt, values.vt, errors.vt, times.vt},
                       Elements<long>(ids),
                       Elements<VARIANT>(values),
                       Elements<long>(errors),
                       Elements<DATE>(times)});
    }
    Note(L"data " + std::to_wstring(group));
    return S_OK;
  }
  STDMETHODIMP DevStatusChange(long) override { return S_OK; }
  STDMETHODIMP DevError(long) override { return S_OK; }
  STDMETHODIMP SysError(long) override {
    if (on_error) on_error();
    return S_OK;
  }
  STDMETHODIMP Progress(short percent) override {
    {
      const std::lock_guard lock(mutex_);
      percents_.push_back(percent);
    }
    if (on_progress) on_progress();
    return S_OK;
  }
  STDMETHODIMP CfgGroupChange(long) override { return S_OK; }

  // Called at each step of a long operation and at each error. Set before the sink is advised.
  std::function<void()> on_progress, on_error;

  // While held, the sink does not return from an event.
  void Hold(bool held) {
    {
      const std::lock_guard lock(mutex_);
      held_ = held;
    }
    changed_.notify_all();
  }
  bool Await(std::size_t events) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(60), [&] { return order_.size() >= events; });
  }
  std::vector<std::wstring> order() const {
    const std::lock_guard lock(mutex_);
    return order_;
  }
  std::vector<short> percents() const {
    const std::lock_guard lock(mutex_);
    return percents_;
  }
  std::vector<Data> data() const {
    const std::lock_guard lock(mutex_);
    return data_;
  }

 private:
  void Note(std::wstring event) {
    std::unique_lock lock(mutex_);
    order_.push_back(std::move(event));
    changed_.notify_all();
    changed_.wait(lock, [&] { return !held_; });
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool held_ = false;                // guarded by mutex_
  std::vector<std::wstring> order_;  // guarded by mutex_, with the data
  std::vector<Data> data_;
  std::vector<short> percents_;  // guarded by mutex_
};

// A sink that gets a control's events while this lives.
class Advised {
 public:
  Advised(IUnknown* control, Sink& sink) {
    ComPtr<IConnectionPointContainer> container;
    if (SUCCEEDED(control->QueryInterface(IID_IConnectionPointContainer,
                                          reinterpret_cast<void**>(container.GetAddressOf()))) &&
        SUCCEEDED(container->FindConnectionPoint(__uuidof(IUlixInstrEvents), &point_))) {
      point_->Advise(&sink, &cookie_);
    }
  }
  Advised(const Advised&) = delete;
  ~Advised() {
    if (point_) point_->Unadvise(cookie_);
  }

 private:
  ComPtr<IConnectionPoint> point_;
  DWORD cookie_ = 0;
};

}  // namespace client

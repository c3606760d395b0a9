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
#include <mutex>
#include <string>
#include <vector>

#include "UlixInstrAx.h"
#include "tests/automation/values.h"

namespace client {

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
  STDMETHODIMP DevError(long code) override { return Tell(code); }
  STDMETHODIMP SysError(long code) override { return Tell(code); }
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
  std::function<void()> on_progress;
  std::function<void(HRESULT code)> on_error;

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
  HRESULT Tell(HRESULT code) {
    if (on_error) on_error(code);
    return S_OK;
  }
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

// A setup object attached to a control.
inline ComPtr<IUlixSetup> SetupOf(IUlixInstr* control) {
  const auto setup = Create<IUlixSetup>(L"Ulix.UlixSetup.1");
  EXPECT_TRUE(setup && setup->Attach(control) == S_OK);
  return setup;
}

// The number of the port in the environment variable, where the test runner has put an instrument; 0 without one.
inline long PortOfTest(const char* variable) {
  const char* port = std::getenv(variable);
  return port ? std::atol(port) : 0;
}

// The setup object of the control, with the control on the port in the environment variable. On a busy machine a pseudo
// terminal passes written bytes on some milliseconds later, and it discards the rest when it is opened again. A control
// that closes it at this speed waits longer than that.
inline ComPtr<IUlixSetup> OnPortOfTest(IUlixInstr* control, const char* variable, long baud_rate = 2400) {
  auto setup = SetupOf(control);
  EXPECT_GT(PortOfTest(variable), 0) << variable;
  EXPECT_EQ(setup->put_Serial(Text(L"port"), PortOfTest(variable)), S_OK);
  EXPECT_EQ(setup->put_Serial(Text(L"baud"), baud_rate), S_OK);
  return setup;
}

}  // namespace client

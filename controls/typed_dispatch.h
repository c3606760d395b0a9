// Implements IDispatch of a dual interface from the description in the type library.
#pragma once

#include <mutex>

#include "controls/module.h"
#include "platform/mutex.h"

namespace ulix::controls {

// Implements IDispatch for the dual interface `Dual` with the given id. The derived class implements IUnknown.
template <typename Dual>
class TypedDispatch : public Dual {
 public:
  explicit TypedDispatch(REFIID id) : id_(id) {}

  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT index, LCID, ITypeInfo** info) override {
    if (!info) return E_POINTER;
    *info = nullptr;
    return index == 0 ? LoadOwnTypeInfo(id_, info) : DISP_E_BADINDEX;
  }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
    ComPtr<ITypeInfo> info;
    const HRESULT result = Description(&info);
    return FAILED(result) ? result : info->GetIDsOfNames(names, count, ids);
  }
  STDMETHODIMP Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* value,
                      EXCEPINFO* exception, UINT* bad_argument) override {
    ComPtr<ITypeInfo> info;
    const HRESULT result = Description(&info);
    if (FAILED(result)) return result;
    return info->Invoke(static_cast<Dual*>(this), member, flags, parameters, value, exception, bad_argument);
  }

 private:
  HRESULT Description(ITypeInfo** info) {
    const std::lock_guard lock(mutex_);
    if (!info_) {
      ComPtr<ITypeInfo> loaded;
      const HRESULT result = LoadOwnTypeInfo(id_, &loaded);
      if (FAILED(result)) return result;
      info_ = loaded;
    }
    return info_.CopyTo(info);
  }

  IID id_;
  platform::Mutex mutex_;
  ComPtr<ITypeInfo> info_;  // loaded at first use; guarded by mutex_
};

}  // namespace ulix::controls

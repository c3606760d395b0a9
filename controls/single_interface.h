// Implements IUnknown for objects with one interface.
#pragma once

#include <atomic>

#include "controls/module.h"

namespace ulix::controls {

// An object starts with one reference, which the creator owns. The last Release deletes the object; never delete it
// directly.
template <typename Interface>
class SingleInterface : public Interface {
 public:
  STDMETHODIMP QueryInterface(REFIID id, void** object) final {
    if (!object) return E_POINTER;
    const bool known = IsEqualIID(id, __uuidof(IUnknown)) || IsEqualIID(id, __uuidof(Interface));
    *object = known ? this : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() final { return ++references_; }
  STDMETHODIMP_(ULONG) Release() final {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  SingleInterface() = default;
  virtual ~SingleInterface() = default;

 private:
  const InUse in_use_;
  std::atomic<ULONG> references_ = 1;
};

}  // namespace ulix::controls

// The library as a loaded component server: its file, its type library, and whether it is in use.
#pragma once

#include <oaidl.h>
#include <windows.h>
#include <wrl/client.h>

#include <new>
#include <string>

#include "base/result.h"

namespace ulix::controls {

using Microsoft::WRL::ComPtr;

// Runs `body`, which returns an HRESULT. Nothing thrown leaves it: E_OUTOFMEMORY, or E_FAIL.
template <typename Body>
HRESULT Guarded(Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_FAIL;
  }
}

// Held by every object that a host can hold, and by a locked class factory: the library stays loaded meanwhile.
class InUse {
 public:
  InUse();
  ~InUse();
  InUse(const InUse&) = delete;
  InUse& operator=(const InUse&) = delete;
};

// A host's lock on the library, and its end; ends without a lock are ignored.
void LockModule(bool lock);

// Whether objects, locks or threads (those left behind included) still need the library's code.
bool IsInUse();

void SetModuleInstance(HINSTANCE instance);
HINSTANCE ModuleInstance();
// The full path of the library's file.
std::wstring ModulePath();

// The library's own type library, and the description of one interface or class in it.
HRESULT LoadOwnTypeLib(ITypeLib** library) noexcept;
HRESULT LoadOwnTypeInfo(REFGUID id, ITypeInfo** info) noexcept;

}  // namespace ulix::controls

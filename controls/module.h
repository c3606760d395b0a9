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

// Runs `body`, which returns an HRESULT. An exception becomes E_OUTOFMEMORY or E_FAIL.
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

// Keeps the library loaded. Each object that a host can hold has one, and so has a locked class factory.
class InUse {
 public:
  InUse();
  ~InUse();
  InUse(const InUse&) = delete;
  InUse& operator=(const InUse&) = delete;
};

// Locks or unlocks the library for a host. An unlock without a lock is ignored.
void LockModule(bool lock);

// Whether objects, locks or threads still need the code of the library. Abandoned threads count too.
bool IsInUse();

void SetModuleInstance(HINSTANCE instance);
HINSTANCE ModuleInstance();
// The full path of the library's file.
std::wstring ModulePath();

// Load the type library of this file, and the description of one interface or class in it.
HRESULT LoadOwnTypeLib(ITypeLib** library) noexcept;
HRESULT LoadOwnTypeInfo(REFGUID id, ITypeInfo** info) noexcept;

}  // namespace ulix::controls

#include "controls/module.h"

#include <atomic>

#include "core/worker.h"

namespace ulix::controls {
namespace {

std::atomic<long> uses = 0;
std::atomic<long> locks = 0;
HINSTANCE module_instance = nullptr;

}  // namespace

InUse::InUse() { ++uses; }
InUse::~InUse() { --uses; }

void LockModule(bool lock) {
  long held = locks;
  while ((lock || held > 0) && !locks.compare_exchange_weak(held, held + (lock ? 1 : -1))) {
  }
}

bool IsInUse() { return uses > 0 || locks > 0 || ThreadsAlive() > 0; }

void SetModuleInstance(HINSTANCE instance) { module_instance = instance; }

HINSTANCE ModuleInstance() { return module_instance; }

std::wstring ModulePath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(module_instance, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) return path.substr(0, length);
    path.resize(path.size() * 2);
  }
}

HRESULT LoadOwnTypeLib(ITypeLib** library) noexcept {
  return Guarded([&] { return LoadTypeLibEx(ModulePath().c_str(), REGKIND_NONE, library); });
}

HRESULT LoadOwnTypeInfo(REFGUID id, ITypeInfo** info) noexcept {
  ComPtr<ITypeLib> library;
  const HRESULT result = LoadOwnTypeLib(&library);
  return FAILED(result) ? result : library->GetTypeInfoOfGuid(id, info);
}

}  // namespace ulix::controls

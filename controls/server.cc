// The entries by which the system loads, registers and unloads the component server.
#include <olectl.h>
#include <windows.h>

#include <functional>
#include <new>
#include <string_view>

#include "base/trace.h"
#include "controls/control.h"
#include "controls/module.h"
#include "controls/property_page.h"
#include "controls/registration.h"
#include "controls/setup_object.h"
#include "controls/single_interface.h"
#include "controls/thread_storage.h"

namespace ulix::controls {
namespace {

IUnknown* NewControl(const ControlRow& row) { return static_cast<IUlixInstr*>(new Control(row)); }
IUnknown* NewSetupObject() { return static_cast<IUlixSetup*>(new SetupObject); }

// Creates an object of a class. It may throw. An empty Maker stands for a class that this library does not have.
using Maker = std::function<IUnknown*()>;

Maker MakerOf(REFCLSID class_id) {
  if (const ControlRow* row = FindControl(class_id)) return [row] { return NewControl(*row); };
  if (const PageRow* row = FindPage(class_id)) return [row] { return NewPropertyPage(*row); };
  if (IsEqualCLSID(class_id, kSetupClassId)) return NewSetupObject;
  return {};
}

// Writes a trace line to the debugger. Used when the environment variable ULIX_TRACE is set.
void TraceToDebugger(std::string_view line) { OutputDebugStringA(std::string(line).c_str()); }

// The class factory of one class.
class ClassFactory final : public SingleInterface<IClassFactory> {
 public:
  explicit ClassFactory(Maker maker) : maker_(std::move(maker)) {}

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    return Guarded([&] {
      IUnknown* made = maker_();
      const HRESULT result = made->QueryInterface(id, object);
      made->Release();
      return result;
    });
  }

  STDMETHODIMP LockServer(BOOL lock) override {
    LockModule(lock);
    return S_OK;
  }

 private:
  const Maker maker_;
};

}  // namespace
}  // namespace ulix::controls

using namespace ulix::controls;

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID process_ends) {
  if (reason == DLL_THREAD_DETACH) ReleaseThreadStorage();
  if (reason == DLL_PROCESS_DETACH && !process_ends) ReleaseThreadSlot();
  if (reason == DLL_PROCESS_ATTACH) {
    SetModuleInstance(instance);
    if (GetEnvironmentVariableW(L"ULIX_TRACE", nullptr, 0) > 0) ulix::SetTraceSink(TraceToDebugger);
  }
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID class_id, REFIID id, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  return Guarded([&]() -> HRESULT {
    Maker maker = MakerOf(class_id);
    if (!maker) return CLASS_E_CLASSNOTAVAILABLE;
    ClassFactory* factory = new ClassFactory(std::move(maker));
    const HRESULT result = factory->QueryInterface(id, object);
    factory->Release();
    return result;
  });
}

STDAPI DllCanUnloadNow() { return IsInUse() ? S_FALSE : S_OK; }

STDAPI DllRegisterServer() { return Register(Scope::kMachine); }

STDAPI DllUnregisterServer() { return Unregister(Scope::kMachine); }

// Registers for the current user when `command` is "user". This needs no administrator rights.
STDAPI DllInstall(BOOL install, LPCWSTR command) {
  const std::wstring_view word = command ? command : L"";
  if (!word.empty() && word != L"user") return E_INVALIDARG;
  const Scope scope = word.empty() ? Scope::kMachine : Scope::kUser;
  return install ? Register(scope) : Unregister(scope);
}

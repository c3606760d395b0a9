#include "controls/registration.h"

#include <cstring>
#include <string>
#include <vector>

#include "UlixInstrAx.h"
#include "controls/control_table.h"
#include "controls/module.h"
#include "controls/property_page.h"

namespace ulix::controls {
namespace {

constexpr wchar_t kLibraryId[] = L"{A8DFAD2D-D3C9-46AC-BCD0-8D845D452CA9}";
constexpr wchar_t kLibraryVersion[] = L"1.0";
constexpr wchar_t kLibraryName[] = L"UlixInstrAx 1.0 Type Library";
// The class id of the system's marshaler for interfaces described by a type library.
constexpr wchar_t kAutomationMarshaler[] = L"{00020424-0000-0000-C000-000000000046}";
constexpr wchar_t kToolboxBitmap[] = L"102";
constexpr wchar_t kMiscStatusKey[] = L"131473";

// The 32-bit and the 64-bit library share a registry key. One may be unregistered while the other stays.
constexpr const wchar_t* kOwnPlatform = sizeof(void*) == 8 ? L"\\0\\win64" : L"\\0\\win32";
constexpr const wchar_t* kOtherPlatform = sizeof(void*) == 8 ? L"\\0\\win32" : L"\\0\\win64";

// A value under Software\Classes. An empty `name` stands for the default value of the key.
struct Entry {
  std::wstring key;
  std::wstring name;
  std::wstring value;
};
using Entries = std::vector<Entry>;

// A registration: the keys that belong to it alone, and the values to write.
struct Registration {
  std::vector<std::wstring> own_keys;
  Entries entries;
};

void AddClass(Registration& registration, const GUID& class_id, std::string_view name, const std::wstring& path) {
  const std::wstring id = GuidText(class_id);
  const std::wstring title = std::wstring(name.begin(), name.end()) + L" Class";
  const std::wstring prog_id = WideProgId(name, false), versioned = WideProgId(name, true);
  const std::wstring class_key = L"CLSID\\" + id;
  registration.own_keys.insert(registration.own_keys.end(), {prog_id, versioned, class_key});
  const Entries entries = {
      {versioned, L"", title},
      {versioned + L"\\CLSID", L"", id},
      {prog_id, L"", title},
      {prog_id + L"\\CLSID", L"", id},
      {prog_id + L"\\CurVer", L"", versioned},
      {class_key, L"", title},
      {class_key + L"\\ProgID", L"", versioned},
      {class_key + L"\\VersionIndependentProgID", L"", prog_id},
      {class_key + L"\\Programmable", L"", L""},
      {class_key + L"\\InprocServer32", L"", path},
      {class_key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
      {class_key + L"\\TypeLib", L"", kLibraryId},
      {class_key + L"\\Version", L"", kLibraryVersion},
  };
  registration.entries.insert(registration.entries.end(), entries.begin(), entries.end());
}

// Adds the class of a property page. It is created by its class id and needs no ProgID.
void AddPage(Registration& registration, const PageRow& page, const std::wstring& path) {
  const std::wstring class_key = L"CLSID\\" + GuidText(page.class_id);
  registration.own_keys.push_back(class_key);
  const Entries entries = {{class_key, L"", page.class_title},
                           {class_key + L"\\InprocServer32", L"", path},
                           {class_key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"}};
  registration.entries.insert(registration.entries.end(), entries.begin(), entries.end());
}

void AddInterface(Registration& registration, const GUID& id, const std::wstring& name) {
  const std::wstring key = L"Interface\\" + GuidText(id);
  registration.own_keys.push_back(key);
  const Entries entries = {
      {key, L"", name},
      {key + L"\\ProxyStubClsid32", L"", kAutomationMarshaler},
      {key + L"\\TypeLib", L"", kLibraryId},
      {key + L"\\TypeLib", L"Version", kLibraryVersion},
  };
  registration.entries.insert(registration.entries.end(), entries.begin(), entries.end());
}

// Adds the class of a control, with the keys that allow a container to put it on a form.
void AddControl(Registration& registration, const ControlRow& row, const std::wstring& path) {
  const std::wstring model = L"UlixInstr" + std::wstring(row.class_name, row.class_name + std::strlen(row.class_name));
  const std::string control_class = ControlClass(row.class_name);
  AddClass(registration, row.class_id, control_class, path);
  AddInterface(registration, row.spec_id, L"I" + model + L"Spec");
  AddInterface(registration, row.debug_id, L"I" + model + L"Debug");
  const std::wstring class_key = L"CLSID\\" + GuidText(row.class_id);
  const Entries entries = {
      {class_key + L"\\Control", L"", L""},
      {class_key + L"\\Insertable", L"", L""},
      {WideProgId(control_class, true) + L"\\Insertable", L"", L""},
      {class_key + L"\\ToolboxBitmap32", L"", path + L", " + kToolboxBitmap},
      {class_key + L"\\MiscStatus", L"", L"0"},
      {class_key + L"\\MiscStatus\\1", L"", kMiscStatusKey},
  };
  registration.entries.insert(registration.entries.end(), entries.begin(), entries.end());
}

std::wstring LibraryKey() { return std::wstring(L"TypeLib\\") + kLibraryId; }

void AddLibrary(Registration& registration, const std::wstring& path) {
  const std::wstring version = LibraryKey() + L"\\" + kLibraryVersion;
  const Entries entries = {
      {version, L"", kLibraryName},
      {version + L"\\FLAGS", L"", L"0"},
      {version + L"\\HELPDIR", L"", path.substr(0, path.find_last_of(L'\\'))},
      {version + kOwnPlatform, L"", path},
  };
  registration.entries.insert(registration.entries.end(), entries.begin(), entries.end());
}

Registration WholeRegistration() {
  const std::wstring path = ModulePath();
  Registration registration;
  AddLibrary(registration, path);
  AddInterface(registration, __uuidof(IUlixInstr), L"IUlixInstr");
  AddInterface(registration, __uuidof(IUlixInstrEvents), L"IUlixInstrEvents");
  AddInterface(registration, __uuidof(IUlixInstrReadFile), L"IUlixInstrReadFile");
  AddInterface(registration, __uuidof(IUlixSetup), L"IUlixSetup");
  AddClass(registration, kSetupClassId, kSetupClass, path);
  for (const ControlRow& row : ControlTable()) AddControl(registration, row, path);
  for (const PageRow& page : PageTable()) AddPage(registration, page, path);
  return registration;
}

HKEY RootOf(Scope scope) { return scope == Scope::kUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE; }

std::wstring ClassesKey(const std::wstring& key) { return L"Software\\Classes\\" + key; }

HRESULT Write(HKEY root, const Entry& entry) {
  const auto size = static_cast<DWORD>((entry.value.size() + 1) * sizeof(wchar_t));
  HKEY key = nullptr;
  LSTATUS status =
      RegCreateKeyExW(root, ClassesKey(entry.key).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
  if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
  // An entry with an empty value creates only the key: its presence is the information.
  if (!entry.value.empty()) {
    status =
        RegSetValueExW(key, entry.name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(entry.value.c_str()), size);
  }
  RegCloseKey(key);
  return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

bool Exists(HKEY root, const std::wstring& name) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(root, ClassesKey(name).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  RegCloseKey(key);
  return true;
}

// Removes a key shared with others, when it is empty.
void RemoveIfEmpty(HKEY root, const std::wstring& name) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(root, ClassesKey(name).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
  DWORD keys = 0, values = 0;
  const LSTATUS known = RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr,
                                         nullptr, nullptr, nullptr);
  RegCloseKey(key);
  if (known == ERROR_SUCCESS && keys == 0 && values == 0) RegDeleteKeyW(root, ClassesKey(name).c_str());
}

HRESULT WriteAll(Scope scope) {
  const Registration registration = WholeRegistration();
  for (const Entry& entry : registration.entries) {
    const HRESULT result = Write(RootOf(scope), entry);
    if (FAILED(result)) return result;
  }
  return S_OK;
}

HRESULT RemoveAll(Scope scope) {
  HRESULT result = S_OK;
  std::vector<std::wstring> keys = WholeRegistration().own_keys;
  const std::wstring version = LibraryKey() + L"\\" + kLibraryVersion;
  keys.push_back(Exists(RootOf(scope), version + kOtherPlatform) ? version + kOwnPlatform : LibraryKey());
  for (const std::wstring& key : keys) {
    const LSTATUS status = RegDeleteTreeW(RootOf(scope), ClassesKey(key).c_str());
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND)
      result = HRESULT_FROM_WIN32(static_cast<DWORD>(status));
  }
  for (const wchar_t* shared : {L"CLSID", L"Interface", L"TypeLib"}) RemoveIfEmpty(RootOf(scope), shared);
  return result;
}

}  // namespace

HRESULT Register(Scope scope) {
  const HRESULT result = Guarded([scope] { return WriteAll(scope); });
  if (FAILED(result)) Unregister(scope);
  return result;
}

HRESULT Unregister(Scope scope) {
  return Guarded([scope] { return RemoveAll(scope); });
}

}  // namespace ulix::controls

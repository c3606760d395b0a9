// Reads the registered type library as a host's tools do.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/automation/client.h"

namespace client {

inline ComPtr<ITypeLib> Library() {
  GUID id;
  CLSIDFromString(L"{A8DFAD2D-D3C9-46AC-BCD0-8D845D452CA9}", &id);
  ComPtr<ITypeLib> library;
  LoadRegTypeLib(id, 1, 0, LOCALE_NEUTRAL, &library);
  return library;
}

// Calls `visit` with each description of one kind and its attributes.
template <typename Visit>
void ForEachType(TYPEKIND wanted, Visit&& visit) {
  const auto library = Library();
  ASSERT_TRUE(library);
  for (UINT k = 0; k < library->GetTypeInfoCount(); ++k) {
    ComPtr<ITypeInfo> info;
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(library->GetTypeInfo(k, &info), S_OK);
    ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
    if (attributes->typekind == wanted) visit(info.Get(), *attributes);
    info->ReleaseTypeAttr(attributes);
  }
}

inline std::wstring NameOf(ITypeInfo* info) {
  BSTR name = nullptr;
  info->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr);
  return Taken(name);
}

inline std::string Narrow(const std::wstring& text) {
  std::string narrow;
  for (const wchar_t c : text) narrow += static_cast<char>(c);
  return narrow;
}

// An id as text: "9D1BBC1A-43DF-4BA0-BFD6-D42A099DBC21".
inline std::string TextOf(REFGUID id) {
  wchar_t text[39];
  StringFromGUID2(id, text, 39);
  return Narrow(std::wstring(text + 1, text + 37));
}

}  // namespace client

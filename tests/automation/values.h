// What every program that uses COM needs: variants, arrays, strings, error information, calls by name. Uses no header
// of the server.
#pragma once

#include <gtest/gtest.h>
#include <oaidl.h>
#include <ocidl.h>
#include <windows.h>
#include <wrl/client.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace client {

using Microsoft::WRL::ComPtr;

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

// What a member gives through its last parameter. A failure of the call fails the test.
template <typename Result, typename Object, typename Member, typename... Arguments>
Result ResultOf(Object* object, Member member, const Arguments&... arguments) {
  Result result{};
  EXPECT_EQ((object->*member)(arguments..., &result), S_OK);
  return result;
}
template <typename Object, typename Member, typename... Arguments>
std::wstring TextOf(Object* object, Member member, const Arguments&... arguments) {
  return Taken(ResultOf<BSTR>(object, member, arguments...));
}
// The elements of an array that a member gives.
template <typename Element, typename Object, typename Member, typename... Arguments>
std::vector<Element> ElementsOf(Object* object, Member member, const Arguments&... arguments) {
  return Elements<Element>(ResultOf<Variant>(object, member, arguments...));
}

inline DATE LocalTimeNow() {
  SYSTEMTIME now;
  GetLocalTime(&now);
  DATE local = 0;
  SystemTimeToVariantTime(&now, &local);
  return local;
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

// The result of a property, or of a method, that is called by name.
inline Variant GetByName(IDispatch* object, const wchar_t* name) {
  Variant result;
  EXPECT_EQ(CallByName(object, name, DISPATCH_PROPERTYGET, {}, &result), S_OK);
  return result;
}
inline Variant ResultByName(IDispatch* object, const wchar_t* name, std::vector<VARIANT> arguments) {
  Variant result;
  EXPECT_EQ(CallByName(object, name, DISPATCH_METHOD, std::move(arguments), &result), S_OK);
  return result;
}

}  // namespace client

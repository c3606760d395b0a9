// Between the library's values and the automation types that cross the interface.
#pragma once

#include <oaidl.h>
#include <windows.h>

#include <span>
#include <string>
#include <vector>

#include "base/result.h"
#include "base/value.h"
#include "drivers/channel_arrays.h"

namespace ulix::controls {

// A variant with an owner.
class OwnedVariant {
 public:
  OwnedVariant() { VariantInit(&variant_); }
  ~OwnedVariant() { VariantClear(&variant_); }
  OwnedVariant(const OwnedVariant&) = delete;
  OwnedVariant& operator=(const OwnedVariant&) = delete;
  VARIANT* get() { return &variant_; }
  const VARIANT& operator*() const { return variant_; }
  // Gives the value away.
  VARIANT Release() {
    const VARIANT given = variant_;
    VariantInit(&variant_);
    return given;
  }

 private:
  VARIANT variant_;
};

// Null when memory ran out. Windows-1252 inside, UTF-16 at the interface.
BSTR BstrOf(std::string_view ansi);
std::string AnsiOf(BSTR text);

// One-dimensional arrays with lower bound 0 in a variant; E_OUTOFMEMORY leaves the place empty.
HRESULT PutIds(std::span<const std::uint32_t> ids, VARIANT* place);    // VT_I4
HRESULT PutErrors(std::span<const HRESULT> errors, VARIANT* place);    // VT_I4
HRESULT PutValues(std::span<const float> values, VARIANT* place);      // VT_VARIANT of VT_R4
HRESULT PutDates(std::span<const Date> dates, VARIANT* place);         // VT_DATE
HRESULT PutTexts(std::span<const std::string> texts, VARIANT* place);  // VT_VARIANT of VT_BSTR

// What a host handed in. Only exactly an array of VT_I4 (VT_VARIANT) of one dimension is taken, by value; E_INVALIDARG
// for anything else.
Expected<std::vector<std::uint32_t>> IdsIn(const VARIANT& variant);
Expected<std::vector<Value>> ValuesIn(const VARIANT& variant);
Value ValueOf(const VARIANT& variant);

}  // namespace ulix::controls

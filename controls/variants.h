// Converts between the values of the library and the automation types of the interface.
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

// A variant that is cleared by its destructor.
class OwnedVariant {
 public:
  OwnedVariant() { VariantInit(&variant_); }
  ~OwnedVariant() { VariantClear(&variant_); }
  OwnedVariant(const OwnedVariant&) = delete;
  OwnedVariant& operator=(const OwnedVariant&) = delete;
  VARIANT* get() { return &variant_; }
  const VARIANT& operator*() const { return variant_; }
  // Passes the value and its ownership to the caller.
  VARIANT Release() {
    const VARIANT given = variant_;
    VariantInit(&variant_);
    return given;
  }

 private:
  VARIANT variant_;
};

// Converts Windows-1252 to an automation string (UTF-16). Null when there is no memory.
BSTR BstrOf(std::string_view ansi);
std::string AnsiOf(BSTR text);

// Store a one-dimensional array with lower bound 0 in the variant `place`. The type of the elements is on each line.
// On E_OUTOFMEMORY the variant stays empty.
HRESULT PutIds(std::span<const std::uint32_t> ids, VARIANT* place);    // VT_I4
HRESULT PutErrors(std::span<const HRESULT> errors, VARIANT* place);    // VT_I4
HRESULT PutValues(std::span<const float> values, VARIANT* place);      // VT_VARIANT of VT_R4
HRESULT PutDates(std::span<const Date> dates, VARIANT* place);         // VT_DATE
HRESULT PutTexts(std::span<const std::string> texts, VARIANT* place);  // VT_VARIANT of VT_BSTR

// Read an argument of a host. It must be a one-dimensional array of VT_I4 (ids) or VT_VARIANT (values), passed by
// value. Anything else gives E_INVALIDARG.
Expected<std::vector<std::uint32_t>> IdsIn(const VARIANT& variant);
Expected<std::vector<Value>> ValuesIn(const VARIANT& variant);
Value ValueOf(const VARIANT& variant);

}  // namespace ulix::controls

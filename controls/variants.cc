#include "controls/variants.h"

#include <cstring>

#include "base/text.h"

namespace ulix::controls {
namespace {

constexpr VARTYPE kIdArray = VT_ARRAY | VT_I4;
constexpr VARTYPE kValueArray = VT_ARRAY | VT_VARIANT;

// Creates an array. `put` makes each element from an item. The array owns the elements.
template <typename Element, typename Item, typename Put>
HRESULT PutArray(VARTYPE type, std::span<const Item> items, VARIANT* place, Put&& put) {
  SAFEARRAY* array = SafeArrayCreateVector(type, 0, static_cast<ULONG>(items.size()));
  void* data = nullptr;
  if (!array || FAILED(SafeArrayAccessData(array, &data))) {
    if (array) SafeArrayDestroy(array);
    return E_OUTOFMEMORY;
  }
  bool whole = true;
  for (std::size_t k = 0; k < items.size() && whole; ++k) whole = put(static_cast<Element*>(data)[k], items[k]);
  SafeArrayUnaccessData(array);
  if (!whole) {
    SafeArrayDestroy(array);
    return E_OUTOFMEMORY;
  }
  V_VT(place) = static_cast<VARTYPE>(VT_ARRAY | type);
  V_ARRAY(place) = array;
  return S_OK;
}

template <typename Element>
constexpr auto kCopy = [](Element& element, const auto& item) {
  element = static_cast<Element>(item);
  return true;
};

// Access to the elements of an array, which its owner cannot free meanwhile.
class ArrayAccess {
 public:
  explicit ArrayAccess(SAFEARRAY* array) : array_(array), given_(SUCCEEDED(SafeArrayAccessData(array, &data_))) {}
  ~ArrayAccess() {
    if (given_) SafeArrayUnaccessData(array_);
  }
  ArrayAccess(const ArrayAccess&) = delete;
  bool given() const { return given_; }
  const void* data() const { return data_; }

 private:
  SAFEARRAY* const array_;
  void* data_ = nullptr;  // may stay null when there are no elements
  const bool given_;
};

// Reads the elements of a one-dimensional array of exactly the given variant type.
template <typename Element>
Expected<std::vector<Element>> ElementsOf(const VARIANT& variant, VARTYPE type) {
  SAFEARRAY* array = V_VT(&variant) == type ? V_ARRAY(&variant) : nullptr;
  if (!array || SafeArrayGetDim(array) != 1) return Failure(E_INVALIDARG);
  const ArrayAccess access(array);
  if (!access.given()) return Failure(E_INVALIDARG);
  const auto* first = static_cast<const Element*>(access.data());
  return std::vector<Element>(first, first + array->rgsabound[0].cElements);
}

// The value of a currency amount (VT_CY) or a decimal number (VT_DECIMAL).
Value RealOf(const VARIANT& variant) {
  OwnedVariant real;
  if (FAILED(VariantChangeType(real.get(), const_cast<VARIANT*>(&variant), 0, VT_R8))) return NoNumber();
  return V_R8(real.get());
}

}  // namespace

BSTR BstrOf(std::string_view ansi) {
  const std::u16string wide = Utf16FromAnsi(ansi);
  return SysAllocStringLen(reinterpret_cast<const OLECHAR*>(wide.data()), static_cast<UINT>(wide.size()));
}

std::string AnsiOf(BSTR text) {
  return AnsiFromUtf16({reinterpret_cast<const char16_t*>(text), text ? SysStringLen(text) : 0});
}

HRESULT PutIds(std::span<const std::uint32_t> ids, VARIANT* place) {
  return PutArray<LONG>(VT_I4, ids, place, kCopy<LONG>);
}

HRESULT PutErrors(std::span<const HRESULT> errors, VARIANT* place) {
  return PutArray<LONG>(VT_I4, errors, place, kCopy<LONG>);
}

HRESULT PutDates(std::span<const Date> dates, VARIANT* place) {
  return PutArray<DATE>(VT_DATE, dates, place, kCopy<DATE>);
}

HRESULT PutValues(std::span<const float> values, VARIANT* place) {
  return PutArray<VARIANT>(VT_VARIANT, values, place, [](VARIANT& element, float value) {
    V_VT(&element) = VT_R4;
    V_R4(&element) = value;
    return true;
  });
}

HRESULT PutTexts(std::span<const std::string> texts, VARIANT* place) {
  return PutArray<VARIANT>(VT_VARIANT, texts, place, [](VARIANT& element, const std::string& text) {
    V_VT(&element) = VT_BSTR;
    V_BSTR(&element) = BstrOf(text);
    return V_BSTR(&element) != nullptr;
  });
}

Expected<std::vector<std::uint32_t>> IdsIn(const VARIANT& variant) {
  return ElementsOf<LONG>(variant, kIdArray).map([](const std::vector<LONG>& ids) {
    return std::vector<std::uint32_t>(ids.begin(), ids.end());
  });
}

Expected<std::vector<Value>> ValuesIn(const VARIANT& variant) {
  return ElementsOf<VARIANT>(variant, kValueArray).map([](const std::vector<VARIANT>& variants) {
    std::vector<Value> values;
    for (const VARIANT& element : variants) values.push_back(ValueOf(element));
    return values;
  });
}

Value ValueOf(const VARIANT& variant) {
  OwnedVariant plain;  // scripts pass variables by reference
  if (FAILED(VariantCopyInd(plain.get(), const_cast<VARIANT*>(&variant)))) return NoNumber();
  switch (V_VT(plain.get())) {
    case VT_I1:
      return std::int64_t{V_I1(plain.get())};
    case VT_UI1:
      return std::int64_t{V_UI1(plain.get())};
    case VT_I2:
      return std::int64_t{V_I2(plain.get())};
    case VT_UI2:
      return std::int64_t{V_UI2(plain.get())};
    case VT_I4:
    case VT_INT:
      return std::int64_t{V_I4(plain.get())};
    case VT_UI4:
    case VT_UINT:
      return std::int64_t{V_UI4(plain.get())};
    case VT_I8:
      return std::int64_t{V_I8(plain.get())};
    case VT_UI8:
      return static_cast<double>(V_UI8(plain.get()));
    case VT_R4:
      return V_R4(plain.get());
    case VT_R8:
      return V_R8(plain.get());
    case VT_CY:
    case VT_DECIMAL:
      return RealOf(*plain);
    default:
      return NoNumber();
  }
}

}  // namespace ulix::controls

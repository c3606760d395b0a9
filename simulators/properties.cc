#include "simulators/properties.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "base/numbers.h"
#include "base/text.h"

namespace ulix {
namespace {

std::optional<bool> ParseSwitch(std::string_view text) {
  if (text == "1" || EqualIgnoringCase(text, "on")) return true;
  if (text == "0" || EqualIgnoringCase(text, "off")) return false;
  return std::nullopt;
}

template <typename T>
std::optional<T> ParseWhole(std::string_view text) {
  const auto number = ParseDecimal(text);
  const bool fits =
      number && *number >= 0 && *number <= std::numeric_limits<T>::max() && std::trunc(*number) == *number;
  return fits ? std::optional(static_cast<T>(*number)) : std::nullopt;
}

template <typename T>
HRESULT Store(T* field, const std::optional<T>& value) {
  if (!value) return E_INVALIDARG;
  *field = *value;
  return S_OK;
}

struct Storing {
  std::string_view text;
  HRESULT operator()(double* field) const { return Store(field, ParseDecimal(text)); }
  HRESULT operator()(std::uint8_t* field) const { return Store(field, ParseWhole<std::uint8_t>(text)); }
  HRESULT operator()(std::uint16_t* field) const { return Store(field, ParseWhole<std::uint16_t>(text)); }
  HRESULT operator()(bool* field) const { return Store(field, ParseSwitch(text)); }
  HRESULT operator()(std::string* field) const { return Store(field, std::optional(std::string(text))); }
};

struct Showing {
  std::string operator()(const double* field) const { return FormatGeneral(*field, 10); }
  std::string operator()(const std::uint8_t* field) const { return std::to_string(*field); }
  std::string operator()(const std::uint16_t* field) const { return std::to_string(*field); }
  std::string operator()(const bool* field) const { return *field ? "on" : "off"; }
  std::string operator()(const std::string* field) const { return *field; }
};

}  // namespace

HRESULT PropertyTable::Set(std::string_view key, std::string_view value) const {
  const auto row =
      std::find_if(rows_.begin(), rows_.end(), [&](const Row& r) { return EqualIgnoringCase(r.key, key); });
  return row == rows_.end() ? E_INVALIDARG : std::visit(Storing{value}, row->field);
}

std::vector<std::pair<std::string, std::string>> PropertyTable::Texts() const {
  std::vector<std::pair<std::string, std::string>> texts;
  for (const Row& row : rows_) texts.emplace_back(row.key, std::visit(Showing{}, row.field));
  return texts;
}

}  // namespace ulix

// The properties of a simulated device, which are set by name and as text.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "base/result.h"

namespace ulix {

// The rows point into the device, so the device must not be moved.
class PropertyTable {
 public:
  struct Row {
    std::string key;
    std::variant<double*, std::uint8_t*, std::uint16_t*, bool*, std::string*> field;
  };
  PropertyTable(std::initializer_list<Row> rows) : rows_(rows) {}
  void Add(Row row) { rows_.push_back(std::move(row)); }

  // Sets a property. By its type it accepts a number, a whole number within the field's range, `on` or `off` (also 1 or
  // 0), or any text. Any other value, and an unknown key, gives E_INVALIDARG and changes nothing.
  HRESULT Set(std::string_view key, std::string_view value) const;
  std::vector<std::pair<std::string, std::string>> Texts() const;

 private:
  std::vector<Row> rows_;
};

}  // namespace ulix

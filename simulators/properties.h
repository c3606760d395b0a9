// What can be set on a simulated device, by name and as text.
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

// Rows point into the device that they belong to, so such a device stays where it was made.
class PropertyTable {
 public:
  struct Row {
    std::string key;
    std::variant<double*, std::uint8_t*, std::uint16_t*, bool*, std::string*> field;
  };
  PropertyTable(std::initializer_list<Row> rows) : rows_(rows) {}
  void Add(Row row) { rows_.push_back(std::move(row)); }

  // A number, a whole one that its field holds, `on` or `off` (also 1 or 0), or any text. E_INVALIDARG, and nothing
  // changed, for anything else and for a key that is not there.
  HRESULT Set(std::string_view key, std::string_view value) const;
  std::vector<std::pair<std::string, std::string>> Texts() const;

 private:
  std::vector<Row> rows_;
};

}  // namespace ulix

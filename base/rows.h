// Looking up rows of constant tables.
#pragma once

#include <algorithm>
#include <type_traits>

namespace ulix {

// The first row of a table whose field equals the value; null where there is none. A text is looked for as a string
// view and compared as it is.
template <typename Rows, typename Row, typename Field, typename Value>
constexpr const Row* RowWith(const Rows& rows, Field Row::*field, const Value& value) {
  static_assert(!std::is_convertible_v<Value, const char*>, "the addresses of the texts would be compared");
  const auto row = std::ranges::find_if(rows, [&](const Row& candidate) { return candidate.*field == value; });
  return row == std::ranges::end(rows) ? nullptr : &*row;
}

}  // namespace ulix

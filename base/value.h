// A value from a host, before it is checked.
#pragma once

#include <cstdint>
#include <variant>

namespace ulix {

// A value that is not a number: empty, null, a text, an array, an object or a date.
struct NoNumber {};

using Value = std::variant<NoNumber, std::int64_t, float, double>;

}  // namespace ulix

// A value handed in by a host, before anybody has said what it may be.
#pragma once

#include <cstdint>
#include <variant>

namespace ulix {

// Whatever a host hands in that is not a number: nothing, a null, a text, an array, an object, a date.
struct NoNumber {};

using Value = std::variant<NoNumber, std::int64_t, float, double>;

}  // namespace ulix

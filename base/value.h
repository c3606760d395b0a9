// A value handed in by a host, before anybody has said what it may be.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

namespace ulix {

// A host's null, and anything that is no plain value at all (an array, an object, a date).
struct NullValue {};
struct OtherValue {};

// std::monostate is an empty value.
using Value = std::variant<std::monostate, NullValue, OtherValue, std::int64_t, float, double, std::string>;

}  // namespace ulix

// The library's file version.
#pragma once

#include <cstdint>
#include <string>

namespace ulix {

// The four 16-bit parts, two in each number: the first and third part are in the high bits.
std::uint32_t FileVersionMS();
std::uint32_t FileVersionLS();

// The four parts of two version words with `between` as separator: "1.0.0.0" with '.'.
std::string VersionParts(std::uint32_t ms, std::uint32_t ls, char between);

// The library's version: "1.0.0.0".
std::string VersionText();

}  // namespace ulix

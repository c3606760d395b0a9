// Conversions between the ANSI code page and those of instruments and files.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace ulix::platform {

// From and to the instrument's OEM code page, byte for byte and in place.
void OemFromAnsi(std::span<char> text);
void AnsiFromOem(std::span<char> text);

// A file's name as the system's own functions take it.
std::string PathFromAnsi(std::string_view name);

}  // namespace ulix::platform

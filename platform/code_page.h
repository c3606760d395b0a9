// Conversions between the ANSI code page and those of instruments and files.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace ulix::platform {

// Convert text between Windows-1252 and the instrument's OEM code page in place, each byte to one byte.
void OemFromAnsi(std::span<char> text);
void AnsiFromOem(std::span<char> text);

// A file's name as the system's own functions take it.
std::string PathFromAnsi(std::string_view name);

}  // namespace ulix::platform

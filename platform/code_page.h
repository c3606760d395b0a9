// Conversions between Windows-1252, the encoding of texts in the library, and the encodings of instruments and file
// names.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace ulix::platform {

// Convert text in place between Windows-1252 and the OEM code page of instruments (850 on Linux, the system's own on
// Windows). One byte becomes one byte. A character that the other page lacks becomes a similar one or '?'.
void OemFromAnsi(std::span<char> text);
void AnsiFromOem(std::span<char> text);

// A file name in Windows-1252 as the system's file functions take it: UTF-8 on Linux, unchanged on Windows.
std::string PathFromAnsi(std::string_view name);

}  // namespace ulix::platform

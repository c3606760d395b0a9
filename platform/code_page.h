// Conversions between the instrument's OEM code page and the ANSI one, byte for byte and in place.
#pragma once

#include <span>

namespace ulix::platform {

void OemFromAnsi(std::span<char> text);
void AnsiFromOem(std::span<char> text);

}  // namespace ulix::platform

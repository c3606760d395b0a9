#include "platform/code_page.h"

#include <windows.h>

namespace ulix::platform {

void OemFromAnsi(std::span<char> text) { CharToOemBuffA(text.data(), text.data(), static_cast<DWORD>(text.size())); }
void AnsiFromOem(std::span<char> text) { OemToCharBuffA(text.data(), text.data(), static_cast<DWORD>(text.size())); }

}  // namespace ulix::platform

#include "platform/code_page.h"

#include <windows.h>

namespace ulix::platform {

void OemFromAnsi(std::span<char> text) { CharToOemBuffA(text.data(), text.data(), static_cast<DWORD>(text.size())); }
void AnsiFromOem(std::span<char> text) { OemToCharBuffA(text.data(), text.data(), static_cast<DWORD>(text.size())); }

std::string PathFromAnsi(std::string_view name) { return std::string(name); }

}  // namespace ulix::platform

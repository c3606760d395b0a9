// Converts texts of windows: Windows-1252 in the library, UTF-16 in the system.
#pragma once

#include <windows.h>

#include <string>

#include "base/text.h"

namespace ulix::controls {

inline std::wstring WideOf(const std::string& ansi) {
  const std::u16string wide = Utf16FromAnsi(ansi);
  return {wide.begin(), wide.end()};
}

// The text of a window.
inline std::string TextOfWindow(HWND window) {
  std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
  text.resize(static_cast<std::size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()))));
  return AnsiFromUtf16(std::u16string(text.begin(), text.end()));
}

}  // namespace ulix::controls

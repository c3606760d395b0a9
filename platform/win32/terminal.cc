#include "platform/terminal.h"

#include <windows.h>

#include <array>
#include <iostream>

namespace ulix::platform {
namespace {

// The code page of the console outlives the program, so it is restored.
class Utf8Output {
 public:
  Utf8Output() : before_(GetConsoleOutputCP()) { SetConsoleOutputCP(CP_UTF8); }
  ~Utf8Output() { SetConsoleOutputCP(before_); }
  Utf8Output(const Utf8Output&) = delete;
  Utf8Output& operator=(const Utf8Output&) = delete;

 private:
  UINT before_;
};

HANDLE Output() { return GetStdHandle(STD_OUTPUT_HANDLE); }
HANDLE Input() { return GetStdHandle(STD_INPUT_HANDLE); }

std::string Utf8(const std::wstring& wide) {
  std::string text(3 * wide.size(), '\0');  // at most three bytes for each unit
  const int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), text.data(),
                                         static_cast<int>(text.size()), nullptr, nullptr);
  text.resize(static_cast<std::size_t>(length));
  return text;
}

}  // namespace

// Windows does not give the handles of standard streams to other files, so only the code page is set.
void PrepareStandardStreams() { static const Utf8Output until_the_program_ends; }

bool OutputIsTerminal() {
  DWORD mode = 0;
  return GetConsoleMode(Output(), &mode) && SetConsoleMode(Output(), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

int TerminalWidth() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!GetConsoleScreenBufferInfo(Output(), &info)) return 80;
  return info.srWindow.Right - info.srWindow.Left + 1;
}

int TerminalHeight() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!GetConsoleScreenBufferInfo(Output(), &info)) return 24;
  return info.srWindow.Bottom - info.srWindow.Top + 1;
}

bool InputIsTerminal() {
  DWORD mode = 0;
  return GetConsoleMode(Input(), &mode);
}

// Ctrl-C ends a read in progress with no text.
std::optional<std::string> ReadTypedLine(const std::atomic<bool>& stop) {
  if (!InputIsTerminal()) {
    std::string line;
    return std::getline(std::cin, line) ? std::optional(line) : std::nullopt;
  }
  constexpr wchar_t kEndOfInput = 0x1A;  // Ctrl-Z
  std::wstring line;
  while (!stop && !line.ends_with(L'\n')) {
    std::array<wchar_t, 256> piece{};
    DWORD length = 0;
    if (!ReadConsoleW(Input(), piece.data(), piece.size(), &length, nullptr) || length == 0) return std::nullopt;
    line.append(piece.data(), length);
  }
  if (stop || line.front() == kEndOfInput) return std::nullopt;
  line.erase(line.find_last_not_of(L"\r\n") + 1);
  return Utf8(line);
}

}  // namespace ulix::platform

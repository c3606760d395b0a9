#include "platform/terminal.h"

#include <windows.h>

namespace ulix::platform {
namespace {

// The console's code page outlives the program, so it is put back.
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

}  // namespace

void ShowUtf8() { static const Utf8Output until_the_program_ends; }

bool OutputIsTerminal() {
  DWORD mode = 0;
  return GetConsoleMode(Output(), &mode) && SetConsoleMode(Output(), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

int TerminalWidth() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!GetConsoleScreenBufferInfo(Output(), &info)) return 80;
  return info.srWindow.Right - info.srWindow.Left + 1;
}

}  // namespace ulix::platform

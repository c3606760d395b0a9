#include "platform/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace ulix::platform {

void ShowUtf8() {}  // the user's terminal takes what the user's locale says

bool OutputIsTerminal() {
  const char* kind = std::getenv("TERM");
  return isatty(STDOUT_FILENO) && kind && std::string_view(kind) != "dumb";
}

int TerminalWidth() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

}  // namespace ulix::platform

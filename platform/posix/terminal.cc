#include "platform/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace ulix::platform {
namespace {

winsize OutputSize() {
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size : winsize{};
}

}  // namespace

// Each open gets the lowest free descriptor. The encoding of the terminal is that of the user's locale and is not
// changed.
void PrepareStandardStreams() {
  int opened = -1;
  do {
    opened = open("/dev/null", O_RDONLY);  // read-only, so that writing to a closed stream still fails
  } while (opened >= 0 && opened <= STDERR_FILENO);
  if (opened >= 0) close(opened);
}

bool OutputIsTerminal() {
  const char* kind = std::getenv("TERM");
  return isatty(STDOUT_FILENO) && kind && std::string_view(kind) != "dumb";
}

int TerminalWidth() {
  const winsize size = OutputSize();
  return size.ws_col == 0 ? 80 : size.ws_col;
}

int TerminalHeight() {
  const winsize size = OutputSize();
  return size.ws_row == 0 ? 24 : size.ws_row;
}

bool InputIsTerminal() { return isatty(STDIN_FILENO); }

std::optional<std::string> ReadTypedLine(const std::atomic<bool>& stop) {
  constexpr int kGlanceMs = 50;  // how soon `stop` is noticed
  std::string line;
  while (!stop) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, kGlanceMs) <= 0) continue;
    // Reads byte by byte, because a pipe may hold more than one line.
    char byte = '\0';
    const bool ended = read(STDIN_FILENO, &byte, 1) <= 0;
    if (ended && line.empty()) return std::nullopt;
    if (ended || byte == '\n') return line;
    line += byte;
  }
  return std::nullopt;
}

}  // namespace ulix::platform

// The terminal that the command line writes to.
#pragma once

#include <atomic>
#include <optional>
#include <string>

namespace ulix::platform {

// To be called before anything is opened. Makes the terminal show UTF-8 on standard output and standard error until the
// program ends, and fills the place of a standard stream that is closed, so that no later file gets it.
void PrepareStandardStreams();

// Whether standard output is a terminal whose cursor can be moved. Switches escape sequences on where the system needs
// that.
bool OutputIsTerminal();

// Columns of the terminal; 80 when unknown.
int TerminalWidth();
// Lines of the terminal; 24 when unknown.
int TerminalHeight();

// Whether standard input is a terminal, so that a person can be asked.
bool InputIsTerminal();

// Waits for the next line of standard input, typed or from a pipe, and returns it in UTF-8, without its end. None at
// the end of the input, and once `stop` is set.
std::optional<std::string> ReadTypedLine(const std::atomic<bool>& stop);

}  // namespace ulix::platform

// What the command line needs to know of the terminal it writes to.
#pragma once

#include <atomic>
#include <optional>
#include <string>

namespace ulix::platform {

// Before anything else is opened. Sees to it that UTF-8 on standard output and standard error shows as it is meant,
// until the program ends, and that whatever is opened later never takes the place of a standard stream that is closed.
void PrepareStandardStreams();

// Whether standard output is a terminal that moves its cursor; makes it understand escape sequences where it has to be
// told.
bool OutputIsTerminal();

// Columns of that terminal; 80 when unknown.
int TerminalWidth();
// Its lines; 24 when unknown.
int TerminalHeight();

// Whether standard input is a terminal, so that somebody is there to be asked.
bool InputIsTerminal();

// Waits for the next line of standard input, typed or from a pipe, and returns it in UTF-8, without its end. None at
// the end of the input, and once `stop` is set.
std::optional<std::string> ReadTypedLine(const std::atomic<bool>& stop);

}  // namespace ulix::platform

// The terminal that the command line writes to.
#pragma once

#include <atomic>
#include <optional>
#include <string>

namespace ulix::platform {

// Prepares the standard streams. Call this before the program opens anything. On Windows the console shows UTF-8 until
// the program ends. On Linux each standard stream that is closed is opened on /dev/null, so that no file opened later
// takes its place.
void PrepareStandardStreams();

// Whether standard output is a terminal whose cursor can be moved. Enables escape sequences where the system needs it.
bool OutputIsTerminal();

// The width of the terminal in columns; 80 when unknown.
int TerminalWidth();
// The height of the terminal in lines; 24 when unknown.
int TerminalHeight();

// Whether standard input is a terminal, so that a person can be asked.
bool InputIsTerminal();

// Waits for the next line of standard input, typed or from a pipe. Returns it in UTF-8 without its line end. None at
// the end of the input, and when `stop` is set.
std::optional<std::string> ReadTypedLine(const std::atomic<bool>& stop);

}  // namespace ulix::platform

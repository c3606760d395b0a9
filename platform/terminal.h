// What the command line needs to know of the terminal it writes to.
#pragma once

namespace ulix::platform {

// Sees to it that UTF-8 on standard output and standard error shows as it is meant, until the program ends.
void ShowUtf8();

// Whether standard output is a terminal that moves its cursor; makes it understand escape sequences where it has to be
// told.
bool OutputIsTerminal();

// Columns of that terminal; 80 when unknown.
int TerminalWidth();

}  // namespace ulix::platform

// The command line as a whole.
#pragma once

namespace ulix::cli {

// Parses, does what was asked and returns the exit status: 0 done, 1 the instrument, the link or a file failed, 2 wrong
// usage. Nothing is thrown.
int RunCommandLine(int argc, char** argv);

}  // namespace ulix::cli

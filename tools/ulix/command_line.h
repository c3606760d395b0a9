// The command line.
#pragma once

namespace ulix::cli {

// Parses the arguments, runs the verb and returns the exit status: 0 done, 1 the instrument, the link or a file failed,
// 2 wrong usage. Does not throw.
int RunCommandLine(int argc, char** argv);

}  // namespace ulix::cli

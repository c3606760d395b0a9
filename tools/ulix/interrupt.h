// Ctrl-C, the closing of the terminal and the request to terminate, as a flag that long verbs read.
#pragma once

#include <atomic>

namespace ulix::cli {

// From this call on, the first Ctrl-C (or SIGTERM, or SIGHUP) only sets the flag; a second one ends the program. When
// the reader of the program's output closes it, a write fails and the program goes on, so that the instrument is
// disconnected properly. Further calls change nothing.
const std::atomic<bool>& CatchInterrupts();

}  // namespace ulix::cli

// Ctrl-C, the end of the terminal and the request to terminate, as a flag that long verbs look at.
#pragma once

#include <atomic>

namespace ulix::cli {

// From here on the first Ctrl-C (or SIGTERM, or SIGHUP) only raises the flag; a second one ends the program as usual. A
// reader of our output who leaves shows as a failed write instead of ending us before the instrument is handed back.
// Asked again it changes nothing.
const std::atomic<bool>& CatchInterrupts();

}  // namespace ulix::cli

// Another program, run to its end.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace ulix::platform {

// Runs `command` (a program of the search path, then its arguments; texts in the system's narrow encoding) with an
// empty input, drops its output, and returns its exit status. None when it cannot be started, ends by a signal, or does
// not end within `limit` (it is killed then). No shell is used: the program gets the arguments as they are.
std::optional<int> RunProgram(const std::vector<std::string>& command, std::chrono::seconds limit);

}  // namespace ulix::platform

// Another program, run to its end.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace ulix::platform {

// Runs `command` (a program of the search path, then its arguments; texts in the system's narrow encoding), its input
// empty and its output dropped, and gives its exit status. None when it cannot be started, does not end within `limit`
// (it is ended then) or ends by a signal. No shell takes part: arguments are given as they are.
std::optional<int> RunProgram(const std::vector<std::string>& command, std::chrono::seconds limit);

}  // namespace ulix::platform

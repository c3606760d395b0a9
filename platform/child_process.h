// Runs another program and waits for its end.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace ulix::platform {

// Runs `command`: the program's name, looked up in the search path, then its arguments, all in the system's narrow
// encoding. No shell is used, so the program gets the arguments as they are. Its input is empty and its output is
// dropped. Returns the exit status. None when the program cannot be started, is ended by a signal, or does not end
// within `limit`; in the last case it is killed.
//
// const auto status = RunProgram({"notify-send", "alarm"}, std::chrono::seconds(10));
std::optional<int> RunProgram(const std::vector<std::string>& command, std::chrono::seconds limit);

}  // namespace ulix::platform

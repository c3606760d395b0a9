// Messages from a program to the manager of the machine's services (systemd on Linux) that started it.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace ulix::platform {

// Sends a state to the manager, such as "READY=1", "STOPPING=1" or "WATCHDOG=1". False when no manager waits for
// states, and always on Windows. Does not wait.
bool TellServiceManager(std::string_view state);

// The interval within which the manager expects each next "WATCHDOG=1". None when it expects none.
std::optional<std::chrono::milliseconds> ServiceWatchdog();

}  // namespace ulix::platform

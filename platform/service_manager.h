// The manager of this machine's services, as a program that it runs tells it how it is.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace ulix::platform {

// Tells the manager a state, such as "READY=1", "STOPPING=1" or "WATCHDOG=1". False when no manager waits for it.
bool TellServiceManager(std::string_view state);

// Within which time the manager wants "WATCHDOG=1" again and again; none when it does not.
std::optional<std::chrono::milliseconds> ServiceWatchdog();

}  // namespace ulix::platform

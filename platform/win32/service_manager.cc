// Windows has no service manager that takes such messages.
#include "platform/service_manager.h"

namespace ulix::platform {

bool TellServiceManager(std::string_view) { return false; }

std::optional<std::chrono::milliseconds> ServiceWatchdog() { return std::nullopt; }

}  // namespace ulix::platform

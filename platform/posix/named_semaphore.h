// The kernel's semaphore behind a named mutex.
#pragma once

#include <sys/ipc.h>

#include <string_view>

namespace ulix::platform {

// The same for every program, whatever its word size: "UL" in the upper half, a hash of the name in the lower.
// `ipcs -s` shows it.
key_t SemaphoreKey(std::string_view name);

}  // namespace ulix::platform

// The kernel's semaphore behind a named mutex.
#pragma once

#include <sys/ipc.h>

#include <string_view>

namespace ulix::platform {

// The key of a name: "UL" in the upper half, a hash of the name in the lower half. It is the same in every program,
// whatever its word size. `ipcs -s` shows it.
key_t SemaphoreKey(std::string_view name);

}  // namespace ulix::platform

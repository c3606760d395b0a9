// Priority of the calling thread.
#pragma once

namespace ulix::platform {

enum class ThreadPriority { kNormal, kTimeCritical };

// True when the system granted the priority; otherwise the thread keeps the one it has. Needs a right on some systems
// (docs/architecture.md).
bool SetThreadPriority(ThreadPriority priority);

}  // namespace ulix::platform

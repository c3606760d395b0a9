// Priority of the calling thread.
#pragma once

namespace ulix::platform {

enum class ThreadPriority { kNormal, kTimeCritical };

// Sets the priority of the calling thread. False when the system refuses; the thread then keeps its priority. Linux
// needs a right for kTimeCritical (docs/architecture.md).
bool SetThreadPriority(ThreadPriority priority);

}  // namespace ulix::platform

// Priority of the calling thread.
#pragma once

namespace ulix::platform {

enum class ThreadPriority { kNormal, kTimeCritical };

// Best effort: a system that grants no such priority to this user leaves the thread as it is. True when granted.
bool SetThreadPriority(ThreadPriority priority);

}  // namespace ulix::platform

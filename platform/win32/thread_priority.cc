#include "platform/thread_priority.h"

#include <windows.h>

namespace ulix::platform {

bool SetThreadPriority(ThreadPriority priority) {
  const bool critical = priority == ThreadPriority::kTimeCritical;
  return ::SetThreadPriority(GetCurrentThread(), critical ? THREAD_PRIORITY_TIME_CRITICAL : THREAD_PRIORITY_NORMAL);
}

}  // namespace ulix::platform

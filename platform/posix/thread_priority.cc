#include "platform/thread_priority.h"

#include <pthread.h>
#include <sched.h>

namespace ulix::platform {

// Time-critical is the lowest real-time priority. It is above every ordinary thread and below the threads of the
// system.
bool SetThreadPriority(ThreadPriority priority) {
  const bool critical = priority == ThreadPriority::kTimeCritical;
  const int policy = critical ? SCHED_FIFO : SCHED_OTHER;
  sched_param parameters{};
  parameters.sched_priority = critical ? sched_get_priority_min(SCHED_FIFO) : 0;
  return pthread_setschedparam(pthread_self(), policy, &parameters) == 0;
}

}  // namespace ulix::platform

// The locks of the standard library: here they allocate no memory.
#pragma once

#include <condition_variable>
#include <mutex>

namespace ulix::platform {

using Mutex = std::mutex;
using ConditionVariable = std::condition_variable;

}  // namespace ulix::platform

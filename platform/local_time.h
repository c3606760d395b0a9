// The time of day where the machine is.
#pragma once

#include "base/date.h"

namespace ulix::platform {

// The local time in whole milliseconds.
Date LocalTimeNow();

}  // namespace ulix::platform

// The time of day where the machine is.
#pragma once

#include "base/date.h"

namespace ulix::platform {

// Kept to the millisecond.
Date LocalTimeNow();

}  // namespace ulix::platform

// The machine's local time.
#pragma once

#include "base/date.h"

namespace ulix::platform {

// The local time in whole milliseconds.
Date LocalTimeNow();

}  // namespace ulix::platform

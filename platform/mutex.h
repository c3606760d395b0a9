// The locks of the library. On Windows they are the system's own: those of the compiler's runtime allocate memory when
// they are first locked, and a lock that fails in a destructor would end the host.
#pragma once

#include "generated/mutex.h"

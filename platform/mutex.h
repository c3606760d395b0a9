// The locks of the library. On Linux they are those of the standard library. On Windows they are the system's own,
// because the locks of the compiler's runtime allocate memory when they are first locked. When that fails in a
// destructor, the host program would end.
#pragma once

#include "generated/mutex.h"

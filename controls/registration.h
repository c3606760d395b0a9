// What the server writes into the registry so that hosts find its classes.
#pragma once

#include <windows.h>

#include "base/result.h"

namespace ulix::controls {

// For all users of the machine, or for the present one alone; never both.
enum class Scope { kMachine, kUser };

// A registration that fails halfway is undone.
HRESULT Register(Scope scope);
// Takes away all that Register wrote; what is not there is no failure.
HRESULT Unregister(Scope scope);

}  // namespace ulix::controls

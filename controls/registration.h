// Registers the classes of the server in the registry, so that hosts find them.
#pragma once

#include <windows.h>

#include "base/result.h"

namespace ulix::controls {

// Whether to register for all users of the machine or for the current user only. Never register for both.
enum class Scope { kMachine, kUser };

// Registers all classes. When it fails halfway, it undoes what it wrote.
HRESULT Register(Scope scope);
// Removes everything that Register wrote. A missing entry is not an error.
HRESULT Unregister(Scope scope);

}  // namespace ulix::controls

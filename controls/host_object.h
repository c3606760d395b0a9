// An object of the host that the library calls by name.
#pragma once

#include <oaidl.h>

#include <cstdint>

namespace ulix::controls {

// Calls the object's SetPoint(address, degrees): a 32-bit integer and a single. The result is the call's; of an object
// that raises an error, as scripts do, it is that error's code. DISP_E_UNKNOWNNAME for an object without such a method.
HRESULT CallSetPoint(IDispatch& object, std::uint32_t address, float degrees);

}  // namespace ulix::controls

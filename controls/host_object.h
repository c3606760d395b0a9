// Calls a method of a host's object by name.
#pragma once

#include <oaidl.h>

#include <cstdint>

namespace ulix::controls {

// Calls the object's method SetPoint(address, degrees) with a 32-bit integer and a single. Returns the result of the
// call. When the object raises an error, as scripts do, returns the code of that error. Returns DISP_E_UNKNOWNNAME when
// the object has no such method.
HRESULT CallSetPoint(IDispatch& object, std::uint32_t address, float degrees);

}  // namespace ulix::controls

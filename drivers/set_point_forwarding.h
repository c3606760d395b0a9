// Set points that go to an object of the host instead of the instrument's line.
#pragma once

#include <cstdint>
#include <functional>

#include "base/result.h"

namespace ulix {

// The host's object for its own controller. It gets the configured address unchanged, and the set point in degrees
// Celsius. Its result is the result of the write. It is called on the writing thread, with no lock held; several
// threads may call it at once.
using SetPointObject = std::function<HRESULT(std::uint32_t address, float degrees)>;

class SetPointForwarding {
 public:
  virtual ~SetPointForwarding() = default;
  // Sets the object, at any time and from any thread. An empty function removes it. Without an object such writes give
  // E_NOTIMPL.
  virtual void SetObject(SetPointObject object) = 0;
};

}  // namespace ulix

// An instrument whose set points can go to an object of the host in place of the line.
#pragma once

#include <cstdint>
#include <functional>

#include "base/result.h"

namespace ulix {

// The host's own object for its controller, given the configured address as it stands and degrees Celsius. What it
// returns is what the write returns. Called on the thread that writes, with no lock held; several threads may call at
// once.
using SetPointObject = std::function<HRESULT(std::uint32_t address, float degrees)>;

class SetPointForwarding {
 public:
  virtual ~SetPointForwarding() = default;
  // At any time, from any thread; an empty one takes the object away. Without one, such writes are E_NOTIMPL.
  virtual void SetObject(SetPointObject object) = 0;
};

}  // namespace ulix

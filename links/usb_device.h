// The record of one device, which a USB link and the helper library share. It is plain data with the same layout on
// every system, because the helper library may come from another compiler.
#pragma once

#include <array>
#include <cstdint>

#include "base/guid.h"

namespace ulix {

// The identity of a device. Zeros mean "not known"; the helper library then looks for the instrument.
struct UsbIdentity {
  Guid guid;
  std::uint16_t vendor = 0;
  std::uint16_t product = 0;

  bool operator==(const UsbIdentity&) const = default;
};

// Before a device is looked up, the record is zero except for the identity in the configuration. From then on only the
// helper library uses `library`. A lost device is connected again with the same record, so that the helper library can
// tell the device from others of its kind.
struct UsbDevice {
  UsbIdentity identity;
  std::array<unsigned char, 4096> library{};
};
static_assert(sizeof(UsbIdentity) == 20 && sizeof(UsbDevice) == 4116);

}  // namespace ulix

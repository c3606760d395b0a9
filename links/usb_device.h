// The record that a USB link and the helper library share about one device. Plain data, of the same layout on every
// system: the helper library may be of another compiler.
#pragma once

#include <array>
#include <cstdint>

#include "base/guid.h"

namespace ulix {

// Zeros mean "not known": the helper library looks for the instrument then.
struct UsbIdentity {
  Guid guid;
  std::uint16_t vendor = 0;
  std::uint16_t product = 0;

  bool operator==(const UsbIdentity&) const = default;
};

// Zeroed before a device is looked for, but for the identity that the configuration holds. The rest is the helper
// library's own from then on: a device that was lost is connected again with the record that it had, by which the
// library can tell it from others of its kind.
struct UsbDevice {
  UsbIdentity identity;
  std::array<unsigned char, 4096> library{};
};
static_assert(sizeof(UsbIdentity) == 20 && sizeof(UsbDevice) == 4116);

}  // namespace ulix

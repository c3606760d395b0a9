// The record that a USB link and the helper library share about one device. Plain data, of the same layout on every
// system: the helper library may be of another compiler.
#pragma once

#include <array>
#include <cstdint>

#include "base/guid.h"

namespace ulix {

// How a device is identified. Zeros mean "not known": the helper library then looks for the instrument.
struct UsbIdentity {
  Guid guid;
  std::uint16_t vendor = 0;
  std::uint16_t product = 0;

  bool operator==(const UsbIdentity&) const = default;
};

// Before a device is looked for, the record is zero but for the identity that the configuration has. From then on
// `library` is the helper library's own. A lost device is connected again with the record that it had, by which the
// library tells it from others of its kind.
struct UsbDevice {
  UsbIdentity identity;
  std::array<unsigned char, 4096> library{};
};
static_assert(sizeof(UsbIdentity) == 20 && sizeof(UsbDevice) == 4116);

}  // namespace ulix

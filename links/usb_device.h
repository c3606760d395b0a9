// The record that a USB link and the helper library share about one device. Plain data, of the same layout on every
// system: the helper library may be of another compiler.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ulix {

struct UsbGuid {
  std::uint32_t data1 = 0;
  std::uint16_t data2 = 0;
  std::uint16_t data3 = 0;
  std::array<std::uint8_t, 8> data4{};

  bool operator==(const UsbGuid&) const = default;
};

// Zeros mean "not known": the helper library looks for the instrument then.
struct UsbIdentity {
  UsbGuid guid;
  std::uint16_t vendor = 0;
  std::uint16_t product = 0;

  bool operator==(const UsbIdentity&) const = default;
};

// Zeroed before a device is looked for, but for the identity that the configuration holds. The rest is the helper
// library's own until the device is closed.
struct UsbDevice {
  UsbIdentity identity;
  std::array<unsigned char, 4096> library{};
};
static_assert(sizeof(UsbIdentity) == 20 && sizeof(UsbDevice) == 4116);

// "F06E89B5-6258-4CE7-83AA-248D25DEBF60".
std::string GuidText(const UsbGuid& guid);
// Such a text, in either case, with braces around it or without; empty for any other.
std::optional<UsbGuid> ParseGuid(std::string_view text);

}  // namespace ulix

// What tells one serial device from another of the same kind.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>

namespace ulix::platform {

inline constexpr const char* kSystemDevices = "/sys";

// "usb 0403:6001 A6008isP 00 0": vendor, product, serial number, interface and port within it of the USB adapter
// behind a character device, as far as it has them. Empty for a device that is on no USB. `sysfs` is the kernel's
// device tree.
std::string UsbIdentity(dev_t device, const std::filesystem::path& sysfs = kSystemDevices);

// The process that has the device open or locked; 0 when none is seen. Processes of other users are seen by their locks
// alone.
std::int64_t HolderOf(const std::string& path);

}  // namespace ulix::platform

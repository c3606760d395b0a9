// The identity of a serial device, which tells it from others of the same kind.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>

namespace ulix::platform {

inline constexpr const char* kSystemDevices = "/sys";

// The identity of the USB adapter behind a character device, such as "usb 0403:6001 A6008isP 00 0": vendor, product,
// serial number, interface, and port number, each as far as the adapter has it. Empty for a device that is not on USB.
// `sysfs` is the kernel's device tree.
std::string UsbIdentity(dev_t device, const std::filesystem::path& sysfs = kSystemDevices);

// The process that has the device open or locked. 0 when none is found. A process of another user is found only if it
// holds a lock.
std::int64_t HolderOf(const std::string& path);

}  // namespace ulix::platform

// The serial ports of this machine and their numbers.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ulix::platform {

struct PortEntry {
  int number;
  std::string device;
};

// A list of ports has at most this many entries.
inline constexpr int kMaxListedPorts = 256;

// The ports of this machine by ascending number. Nothing is opened.
//
// An explicit entry gives a device its number: ULIX_COM5=/dev/ttyS0 in the environment, or a line COM5=/dev/ttyS0 in
// the user's port file (on Windows also a value in the registry). The environment comes first. An entry may also name a
// URL.
//
// Other devices: on Windows the system's own COM number. On Linux the place of the device, counted from 1, in the list
// ttyS0..., ttyUSB0..., ttyACM0.... If an entry has taken that number for another device, the device gets a free number
// after the last place. Each device is listed once.
std::vector<PortEntry> ListSerialPorts();

// The device path or URL of a port number. None when the number has no device. On Windows every positive number has a
// device path, whether the device exists or not.
std::optional<std::string> DeviceOfPort(int port);

// The number of a device path, for texts and saved configurations; a port with a path is opened by its path. On Linux a
// path that is not listed gets a free number from 200 up, which DeviceOfPort of this process then knows; 0 when no
// number is left. On Windows 0 for a path that is not that of a COM port.
int PortOfDevice(const std::string& device);

}  // namespace ulix::platform

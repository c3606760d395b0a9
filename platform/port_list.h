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

// At most this many ports are ever listed.
inline constexpr int kMaxListedPorts = 256;

// The ports of this machine by ascending number, each device once. A port number comes from an explicit entry
// (ULIX_COM5=/dev/ttyS0 in the environment, or a line COM5=/dev/ttyS0 in the user's port file), else it is the place of
// the device among the machine's serial devices, from 1. A device whose place is the number of another device's entry
// gets a number after the last.
std::vector<PortEntry> ListSerialPorts();

// The device of a port number; empty when there is none.
std::optional<std::string> DeviceOfPort(int port);

// The number under which a device path is listed, or a new one for this process; 0 when no number is left. The number
// is for texts and saved configurations: the path is what is opened.
int PortOfDevice(const std::string& device);

}  // namespace ulix::platform

// The machine's serial ports, and the numbers by which the interface knows them.
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

// The ports found, ascending, each device once. A port number is an explicit entry (ULIX_COM5=/dev/ttyS0, or a line
// COM5=/dev/ttyS0 in the user's port file) or else the place of the device among the machine's serial devices, from 1;
// a device whose place an entry took for another one comes behind the last.
std::vector<PortEntry> ListSerialPorts();

// The device of a port number; empty when there is none.
std::optional<std::string> DeviceOfPort(int port);

// The number of a device path: the one it is listed under, or a new one for this process. 0 when no number is left. For
// texts and saved configurations: what is opened is the path.
int PortOfDevice(const std::string& device);

}  // namespace ulix::platform

// The numbers of the serial ports of this machine.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace ulix::platform {

using PortNumbers = std::map<int, std::string>;  // number to device path

// Adds `devices` to the `ports` that entries gave. A device that no entry names gets its place in the list as its
// number. If an entry has taken that number, the device gets the next free number after the last place. So each device
// is listed once.
PortNumbers NumberedPorts(PortNumbers ports, const std::vector<std::string>& devices);

}  // namespace ulix::platform

// The numbers of the serial ports of this machine.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace ulix::platform {

using PortNumbers = std::map<int, std::string>;  // to device paths

// Numbers for `devices`, in their order, beside those that entries gave. A device that no entry names has its place as
// its number, or, where an entry took that, the next that is free behind the last place: each device is there once, and
// none is hidden.
PortNumbers NumberedPorts(PortNumbers ports, const std::vector<std::string>& devices);

}  // namespace ulix::platform

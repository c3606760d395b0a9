// The serial ports of the machine by their numbers, for hosts.
#pragma once

#include <vector>

namespace ulix {

// Replaces the content of `ports` by the numbers of the ports found, ascending, at most 256. Returns how many were
// found.
int EnumSerialPorts(std::vector<int>& ports);

}  // namespace ulix

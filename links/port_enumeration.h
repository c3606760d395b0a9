// The serial ports of the machine, as hosts list them.
#pragma once

#include <vector>

namespace ulix {

// Fills `ports` with the numbers of the ports found, ascending, at most 256. Returns how many were found.
int EnumSerialPorts(std::vector<int>& ports);

}  // namespace ulix

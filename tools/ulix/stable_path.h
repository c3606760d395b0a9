// The name of a serial device that stays when others come and go.
#pragma once

#include <string>

namespace ulix::cli {

// Its link in /dev/serial/by-id where it has one, else the path itself.
std::string StablePathOf(const std::string& device);

}  // namespace ulix::cli

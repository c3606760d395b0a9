// A name of a serial device that does not change when other devices are plugged in or out.
#pragma once

#include <string>

namespace ulix::cli {

// The device's link in /dev/serial/by-id, or the path itself when it has no such link.
std::string StablePathOf(const std::string& device);

}  // namespace ulix::cli

// Line speeds for which the terminal interface has no constant.
#pragma once

#include <cstdint>

namespace ulix::platform {

// Sets the speed in bits per second both ways; false when the driver refuses it or takes another one.
bool SetCustomBaud(int fd, std::uint32_t rate);

}  // namespace ulix::platform

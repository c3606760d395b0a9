// Line speeds for which the terminal interface has no constant.
#pragma once

#include <cstdint>

namespace ulix::platform {

// Sets the speed of both directions, in bits per second. False when the driver refuses it, or sets a speed that differs
// by more than 2 %.
bool SetCustomBaud(int fd, std::uint32_t rate);

}  // namespace ulix::platform

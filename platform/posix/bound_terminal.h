// Serial devices of this machine by their path.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/port_binding.h"
#include "platform/posix/device_identity.h"

namespace ulix::platform {

// Binds whatever is at the path now; nothing is opened. `sysfs` is the kernel's device tree.
std::shared_ptr<BoundPort> BindTerminal(const std::string& path, const std::filesystem::path& sysfs = kSystemDevices);

}  // namespace ulix::platform

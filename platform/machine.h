// Facts about this machine.
#pragma once

#include <string>

namespace ulix::platform {

// The machine's name, in UTF-8; empty when it has none.
std::string MachineName();

}  // namespace ulix::platform

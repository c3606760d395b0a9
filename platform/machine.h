// The machine that this runs on.
#pragma once

#include <string>

namespace ulix::platform {

// Its name, in UTF-8; empty when it has none.
std::string MachineName();

}  // namespace ulix::platform

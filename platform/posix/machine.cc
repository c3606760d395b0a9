#include "platform/machine.h"

#include <unistd.h>

#include <array>

namespace ulix::platform {

std::string MachineName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

}  // namespace ulix::platform

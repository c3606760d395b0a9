#include "platform/machine.h"

#include <windows.h>

#include <array>

#include "base/text.h"

namespace ulix::platform {

std::string MachineName() {
  std::array<char, MAX_COMPUTERNAME_LENGTH + 1> name{};
  DWORD length = name.size();
  return GetComputerNameA(name.data(), &length) ? Utf8FromAnsi({name.data(), length}) : std::string();
}

}  // namespace ulix::platform

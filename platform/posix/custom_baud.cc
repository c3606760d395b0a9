// In a file of its own, because the kernel's header and that of the C library define the same names.
#include "platform/posix/custom_baud.h"

#include <asm/termbits.h>
#include <sys/ioctl.h>

namespace ulix::platform {

bool SetCustomBaud(int fd, std::uint32_t rate) {
  struct termios2 settings {};
  if (ioctl(fd, TCGETS2, &settings) != 0) return false;
  settings.c_cflag = (settings.c_cflag & ~static_cast<tcflag_t>(CBAUD | (CBAUD << IBSHIFT))) | BOTHER;
  settings.c_ispeed = rate;
  settings.c_ospeed = rate;
  if (ioctl(fd, TCSETS2, &settings) != 0 || ioctl(fd, TCGETS2, &settings) != 0) return false;
  const std::uint32_t slack = rate / 50;  // the error of a clock divider that receivers tolerate
  return settings.c_ospeed >= rate - slack && settings.c_ospeed <= rate + slack;
}

}  // namespace ulix::platform

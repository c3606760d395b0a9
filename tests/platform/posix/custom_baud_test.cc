// This test has a file of its own because the kernel's terminal header and the C library's define the same names.
#include "platform/posix/custom_baud.h"

#include <asm/termbits.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include "platform/byte_endpoint.h"
#include "platform/posix/file_descriptor.h"

namespace ulix::platform {
namespace {

TEST(CustomBaudTest, NonStandardRate_IsSetInTheTerminal) {
  const auto endpoint = OpenPseudoTerminal().value();
  const FileDescriptor terminal(open(endpoint->address().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  EXPECT_TRUE(SetCustomBaud(terminal.get(), 128000));
  struct termios2 settings {};
  ASSERT_EQ(ioctl(terminal.get(), TCGETS2, &settings), 0);
  EXPECT_EQ(settings.c_ospeed, 128000u);
  EXPECT_EQ(settings.c_ispeed, 128000u);
  EXPECT_FALSE(SetCustomBaud(-1, 128000));
}

}  // namespace
}  // namespace ulix::platform

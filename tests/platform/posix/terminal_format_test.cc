// A pseudo terminal has no parity and no 7-bit format. The port accepts them nevertheless, each time they are set.
#include <gtest/gtest.h>

#include "platform/byte_endpoint.h"
#include "platform/port_binding.h"

namespace ulix::platform {
namespace {

TEST(TerminalFormat, ParityAndSevenBits_AreAcceptedEachTime) {
  const auto terminal = OpenPseudoTerminal();
  ASSERT_TRUE(terminal);
  const auto port = ResolvePort({.number = 0, .location = (*terminal)->address()}).port->Open().port;
  ASSERT_TRUE(port);
  for (int time = 0; time < 3; ++time) {
    EXPECT_TRUE(port->Configure({.data_bits = 7})) << time;
    EXPECT_TRUE(port->Configure({.parity = Parity::kEven})) << time;
    EXPECT_TRUE(port->Configure({.parity = Parity::kEven})) << time;
    EXPECT_TRUE(port->Configure({.stop_bits = 2, .parity = Parity::kOdd})) << time;
  }
}

}  // namespace
}  // namespace ulix::platform

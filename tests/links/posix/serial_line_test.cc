// The serial link over a real terminal: the test is the instrument at the other end.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <array>
#include <cerrno>
#include <future>

#include "links/serial_link.h"
#include "platform/byte_endpoint.h"
#include "platform/posix/file_descriptor.h"

namespace ulix {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::uint32_t kLongMs = 20'000;
constexpr milliseconds kLong{kLongMs};

class SerialLineTest : public testing::Test {
 protected:
  void Open(SerialParams params = {}) {
    params.location = endpoint_->address();
    link_.SetParams(params);
    ASSERT_EQ(link_.Open(), S_OK);
  }
  std::string TakeSent(std::size_t count) {
    std::string bytes;
    std::array<char, 64> buffer;
    while (bytes.size() < count) {
      const std::size_t got = endpoint_->Read(buffer, kLong);
      if (got == 0) break;
      bytes.append(buffer.data(), got);
    }
    return bytes;
  }
  std::string ReadBytes(std::size_t count, std::uint32_t timeout_ms = kLongMs) {
    std::string bytes(count, '.');
    return Failed(link_.ReadBytes(bytes, timeout_ms)) ? "failed" : bytes;
  }
  // Opens the terminal a second time, beside the link.
  platform::FileDescriptor Terminal() const {
    return platform::FileDescriptor(open(endpoint_->address().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  }
  termios TerminalSettings() const {
    termios settings{};
    EXPECT_EQ(tcgetattr(Terminal().get(), &settings), 0);
    return settings;
  }
  // Waits until the terminal holds that many bytes for the link.
  void AwaitQueued(int count) const {
    const platform::FileDescriptor terminal = Terminal();
    const auto end = steady_clock::now() + kLong;
    int queued = 0;
    while (queued < count && steady_clock::now() < end) ASSERT_EQ(ioctl(terminal.get(), FIONREAD, &queued), 0);
    EXPECT_EQ(queued, count);
  }

  std::unique_ptr<platform::ByteEndpoint> endpoint_ = platform::OpenPseudoTerminal().value();
  SerialLink link_;
};

TEST_F(SerialLineTest, WriteThatIsNotRead_TimesOut) {
  Open();
  EXPECT_EQ(link_.WriteBytes(std::string(1 << 20, 'x'), 100), serialCommErrUnableToWriteComm);
}

TEST_F(SerialLineTest, RateAndFlowControl_AreSetInTheTerminal) {
  Open({.baudRate = 19200, .handshakeCode = 2});
  termios settings = TerminalSettings();
  EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B19200));
  EXPECT_EQ(cfgetispeed(&settings), static_cast<speed_t>(B19200));
  EXPECT_EQ(settings.c_iflag & static_cast<tcflag_t>(IXON | IXOFF | IXANY), static_cast<tcflag_t>(IXON | IXOFF));
  EXPECT_EQ(settings.c_cc[VSTART], 17);
  EXPECT_EQ(settings.c_cc[VSTOP], 19);
  for (const int handshake : {0, 1}) {
    link_.Close();
    Open({.handshakeCode = handshake});
    EXPECT_EQ(TerminalSettings().c_iflag & static_cast<tcflag_t>(IXON | IXOFF), 0u);
  }
}

TEST_F(SerialLineTest, ParityEnabled_KeepsGoodBytes) {
  Open({.parityCode = 1});
  EXPECT_NE(TerminalSettings().c_iflag & static_cast<tcflag_t>(INPCK), 0u);
  const std::string reply("\377\377A\377\000\n", 6);
  endpoint_->Write(reply);
  EXPECT_EQ(ReadBytes(6), reply);
}

TEST_F(SerialLineTest, DamagedByte_FailsTheReadAndIsDiscarded) {
  Open({.parityCode = 0});
  // A pseudo terminal damages no byte: the test sends the marks of a damaged byte itself, with marking switched off.
  const platform::FileDescriptor terminal = Terminal();
  termios settings = TerminalSettings();
  settings.c_iflag &= ~static_cast<tcflag_t>(PARMRK);
  ASSERT_EQ(tcsetattr(terminal.get(), TCSANOW, &settings), 0);
  endpoint_->Write(std::string_view("A\xFF\0xB\n", 6));
  AwaitQueued(6);
  std::string buffer(8, '.');
  EXPECT_EQ(link_.ReadLine(buffer, '\n', 0), serialCommErrUnableToReadComm);
  EXPECT_EQ(buffer[0], 'A');
  EXPECT_EQ(link_.lastError(), static_cast<std::uint32_t>(EILSEQ));
  EXPECT_EQ(link_.ReadLineText(8, '\n', 0), "B");
}

}  // namespace
}  // namespace ulix

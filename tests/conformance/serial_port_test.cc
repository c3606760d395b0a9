// A serial port with an instrument behind it behaves the same on every system, and over a network. run.py connects the
// instrument.
#include "links/network_port.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <future>
#include <string>

#include "links/serial_params.h"

namespace ulix {
namespace {

using platform::IoOutcome;
using platform::IoResult;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kEnough{10'000};

int PortFromEnvironment(const char* variable) {
  const char* text = std::getenv(variable);
  return text ? std::atoi(text) : 0;
}

// All bytes but the terminator.
std::string EveryByte() {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  return bytes.erase('\n', 1);
}

class SerialPortConformance : public testing::Test {
 protected:
  void Open(const char* variable) {
    number_ = PortFromEnvironment(variable);
    ASSERT_GT(number_, 0) << variable << " gives no port";
    port_ = ResolveSerialPort({.number = number_}).port->Open().port;
    ASSERT_TRUE(port_);
    EXPECT_TRUE(port_->SetQueueSizes(2000, 1000));
    port_->Purge(true, true);
    EXPECT_TRUE(port_->SetTimeouts({.read_ms = 5000, .write_ms = 5000}));
    EXPECT_TRUE(port_->Configure({}));
  }
  void SetUp() override { Open("ULIX_TEST_PORT"); }

  void Send(const std::string& line) {
    const IoResult sent = port_->Write(line + "\n");
    EXPECT_EQ(sent.outcome, IoOutcome::kComplete) << sent.os_error;
    EXPECT_EQ(sent.count, line.size() + 1);
  }
  std::string ReadLine() {
    std::string line;
    for (char byte = 0; byte != '\n'; line += byte) {
      if (port_->Read({&byte, 1}).outcome != IoOutcome::kComplete) return line + "<nothing more>";
    }
    line.pop_back();
    return line;
  }
  std::string Ask(const std::string& query) {
    Send(query);
    return ReadLine();
  }
  // Reads that many bytes within `ms`, expecting it to take all of that time.
  IoResult ReadInVain(std::size_t count, std::uint32_t ms) {
    EXPECT_TRUE(port_->SetTimeouts({.read_ms = ms, .write_ms = 5000}));
    std::string bytes(count, '.');
    const auto start = steady_clock::now();
    const IoResult result = port_->Read(bytes);
    const auto taken = steady_clock::now() - start;
    EXPECT_GE(taken, milliseconds(ms) * 9 / 10);
    EXPECT_LT(taken, kEnough);
    EXPECT_TRUE(port_->SetTimeouts({.read_ms = 5000, .write_ms = 5000}));
    return result;
  }

  int number_ = 0;
  std::unique_ptr<platform::SerialPort> port_;
  const std::string identity_ = "KELVO10 SN 1234 V1.0";
};

TEST_F(SerialPortConformance, EveryByte_IsCarriedBothWays) {
  EXPECT_EQ(Ask("*IDN?"), identity_);
  EXPECT_EQ(Ask(EveryByte()), "HEARD");
  EXPECT_EQ(Ask("CFG_OUT?"), EveryByte());
  EXPECT_EQ(ReadInVain(1, 50).outcome, IoOutcome::kNoFirstByte);
}

TEST_F(SerialPortConformance, ReadOfMoreBytesThanSent_StopsMidway) {
  Send("*IDN?");
  const IoResult result = ReadInVain(100, 300);
  EXPECT_EQ(result.outcome, IoOutcome::kStoppedMidway);
  EXPECT_EQ(result.count, identity_.size() + 1);
}

TEST_F(SerialPortConformance, EveryRateAndFormat_IsAccepted) {
  for (const std::uint32_t rate : kBaudRates) {
    ASSERT_TRUE(port_->Configure({.baud_rate = rate})) << rate;
    EXPECT_EQ(Ask("*IDN?"), identity_) << rate;
  }
  for (const auto parity : {platform::Parity::kNone, platform::Parity::kEven, platform::Parity::kOdd}) {
    for (const auto flow :
         {platform::FlowControl::kNone, platform::FlowControl::kDtrDsr, platform::FlowControl::kXonXoff}) {
      // Under Wine a pseudo terminal has no parity bit, and a Configure that changes only the parity fails. So the
      // format is reset first: the stop bits change with the parity.
      ASSERT_TRUE(port_->Configure({}));
      EXPECT_TRUE(port_->Configure({.stop_bits = 2, .parity = parity, .flow_control = flow}));
      EXPECT_EQ(Ask("*IDN?"), identity_);
    }
  }
}

// The instrument sends nothing without a query, so only the interruption can end the read.
TEST_F(SerialPortConformance, Interrupt_CancelsTheReadAndTheNextOneWorks) {
  EXPECT_TRUE(port_->SetTimeouts({.read_ms = 60'000, .write_ms = 5000}));
  for (int round = 0; round < 2; ++round) {
    char byte = 0;
    auto reading = std::async(std::launch::async, [&] { return port_->Read({&byte, 1}); });
    const auto start = steady_clock::now();
    port_->Interrupt(true);
    EXPECT_EQ(reading.get().outcome, IoOutcome::kCancelled);
    EXPECT_LT(steady_clock::now() - start, kEnough);
    port_->Interrupt(false);
    EXPECT_EQ(Ask("*IDN?"), identity_);
  }
}

TEST(SerialPortOpening, UnknownPort_GivesTheCause) {
  for (const platform::PortAddress& address : {platform::PortAddress{247, ""}, {1, "nowhere"}}) {
    const auto found = ResolveSerialPort(address);
    const auto failure = found.port ? found.port->Open().failure : found.failure;
    EXPECT_EQ(failure.cause, platform::OpenFailureCause::kNoSuchDevice);
    EXPECT_NE(failure.os_error, 0u);
  }
}

class VanishingPortConformance : public SerialPortConformance {
  void SetUp() override { Open("ULIX_TEST_VANISHING_PORT"); }
};

TEST_F(VanishingPortConformance, PortThatVanishes_NoCallHangs) {
  EXPECT_EQ(Ask("*IDN?"), identity_);
  EXPECT_TRUE(port_->IsPresent());
  Send("MEAS?");
  std::string bytes(100, '.');
  const auto start = steady_clock::now();
  IoResult read = port_->Read(bytes);  // Some systems still deliver the last bytes.
  if (read.count > 0) read = port_->Read(bytes);
  EXPECT_TRUE(read.outcome == IoOutcome::kLinkLost || read.outcome == IoOutcome::kNoFirstByte);
  EXPECT_EQ(read.os_error != 0, read.outcome == IoOutcome::kLinkLost);
  port_->Write("?\n");
  port_->Purge(true, true);
  port_->ClearError();
  EXPECT_FALSE(port_->IsPresent());
  port_.reset();
  EXPECT_FALSE(ResolveSerialPort({.number = number_}).port->Open().port);
  EXPECT_LT(steady_clock::now() - start, milliseconds(15'000));
}

}  // namespace
}  // namespace ulix

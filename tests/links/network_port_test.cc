// The URL of a serial port on a network, the telnet stream, and a line behind a server.
#include "links/network_port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <map>
#include <mutex>
#include <thread>

#include "links/port_url.h"
#include "links/rfc2217_endpoint.h"
#include "links/telnet.h"

namespace ulix {
namespace {

std::string Parsed(std::string_view location) {
  const auto url = ParsePortUrl(location);
  if (!url) return "none";
  return (url->protocol == PortUrl::Protocol::kRaw ? "raw " : "rfc2217 ") + url->host + " " + std::to_string(url->port);
}

TEST(PortUrlTest, UrlWithNameOrAddress_IsParsedAndAnyOtherTextRefused) {
  EXPECT_EQ(Parsed("tcp://bench-3:4001"), "raw bench-3 4001");
  EXPECT_EQ(Parsed("RFC2217://10.0.0.7:65535/"), "rfc2217 10.0.0.7 65535");
  EXPECT_EQ(Parsed("tcp://[::1]:4001"), "raw ::1 4001");
  EXPECT_EQ(Parsed("tcp://[fe80::1%eth0]:1"), "raw fe80::1%eth0 1");
  for (const char* wrong : {"bench-3:4001", "http://bench:1", "tcp://", "tcp://bench", "tcp://:1",
                            "tcp://bench:", "tcp://bench:0", "tcp://bench:65536", "tcp://bench:1x", "tcp://::1:4001",
                            "tcp://[]:1", "tcp://[::1:4", "tcp://a/b:1", "tcp://user@bench:1"}) {
    EXPECT_EQ(Parsed(wrong), "none") << wrong;
  }
}

struct Heard final : telnet::Listener {
  void OnOption(std::uint8_t verb, std::uint8_t option) override {
    log += "option " + std::to_string(verb) + " " + std::to_string(option) + ";";
  }
  void OnComPort(std::uint8_t code, std::string_view value) override {
    log += "command " + std::to_string(code) + " of " + std::to_string(value.size()) + ";";
  }
  std::string log;
};

TEST(TelnetTest, CommandsInTheStream_AreSeparatedFromData) {
  Heard heard;
  std::string data;
  telnet::Decoder decoder;
  const auto take = [&](std::string_view bytes) {
    for (const char byte : bytes) decoder.Take({&byte, 1}, data, heard);
  };
  take("12\xFF\xFF\x33\xFF\xFD\x2C");
  take(telnet::ComPortCommand(101, telnet::RateValue(255)));
  take(
      "\xFF\xF1"
      "4\r\n");
  EXPECT_EQ(data,
            "12\xFF"
            "34\r\n");
  EXPECT_EQ(heard.log, "option 253 44;command 101 of 4;");
  heard.log.clear();
  take(
      "\xFF\xFA\x2C\x65\xFF\xFB\x2C"
      "5");
  EXPECT_EQ(heard.log, "option 251 44;") << "an interrupted subnegotiation is dropped";
  EXPECT_EQ(data,
            "12\xFF"
            "34\r\n5");
}

TEST(NetworkPortTest, UnknownUrl_GivesNoPortAndNamesTheUrl) {
  const auto found = ResolveSerialPort({.number = 1, .location = "http://bench:1"});
  EXPECT_FALSE(found.port);
  EXPECT_EQ(found.failure.detail, "http://bench:1");
  EXPECT_EQ(ResolveSerialPort({.number = 1, .location = "tcp://bench:1"}).port->location(), "tcp://bench:1");
}

// A line that sends back what it receives, behind a server.
class ServedLine {
 public:
  ServedLine() {
    LineControl control;
    control.set_signal = [this](platform::LineSignal signal, bool on) {
      const std::lock_guard lock(mutex_);
      signals_[signal] = on;
      return true;
    };
    control.take_damage = [this] { return damaged.exchange(false); };
    auto stream = platform::ListenOnTcp(0);
    address_ = (*stream)->address();
    endpoint_ = MakeRfc2217Endpoint(std::move(*stream), std::move(control));
    thread_ = std::thread([this] { Serve(); });
  }
  ~ServedLine() {
    stop_ = true;
    thread_.join();
  }

  std::unique_ptr<platform::SerialPort> Open() const {
    auto opened = ResolveSerialPort({.number = 1, .location = "rfc2217://" + address_}).port->Open();
    if (opened.port) opened.port->SetTimeouts({.read_ms = 20000, .write_ms = 20000});
    return std::move(opened.port);
  }
  std::map<platform::LineSignal, bool> signals() const {
    const std::lock_guard lock(mutex_);
    return signals_;
  }
  std::atomic<bool> damaged = false;

 private:
  void Serve() {
    std::array<char, 64> bytes;
    while (!stop_) {
      const std::size_t count = endpoint_->Read(bytes, std::chrono::milliseconds(20));
      if (count != 0) endpoint_->Write({bytes.data(), count});
    }
  }
  mutable std::mutex mutex_;
  std::map<platform::LineSignal, bool> signals_;  // guarded by mutex_
  std::string address_;
  std::unique_ptr<platform::ByteEndpoint> endpoint_;
  std::atomic<bool> stop_ = false;
  std::thread thread_;
};

TEST(Rfc2217Test, ConfiguredPort_SwitchesTheLinesOutputsOn) {
  const ServedLine line;
  const auto port = line.Open();
  ASSERT_TRUE(port);
  ASSERT_TRUE(port->Configure({.baud_rate = 19200}));
  std::array<char, 1> byte;
  port->Write("x");
  ASSERT_EQ(port->Read(byte).outcome, platform::IoOutcome::kComplete) << "the echo comes behind the answers";
  EXPECT_THAT(line.signals(), testing::UnorderedElementsAre(testing::Pair(platform::LineSignal::kDtr, true),
                                                            testing::Pair(platform::LineSignal::kRts, true)));
}

TEST(Rfc2217Test, ByteThatArrivedDamaged_IsNotRead) {
  ServedLine line;
  const auto port = line.Open();
  ASSERT_TRUE(port);
  ASSERT_TRUE(port->Configure({}));
  std::array<char, 1> byte;
  line.damaged = true;
  port->Write("x");
  EXPECT_EQ(port->Read(byte).outcome, platform::IoOutcome::kDamaged);
  port->ClearError();
  port->Purge(true, true);
  port->Write("y");
  EXPECT_EQ(port->Read(byte).outcome, platform::IoOutcome::kComplete);
  EXPECT_EQ(byte[0], 'y');
}

}  // namespace
}  // namespace ulix

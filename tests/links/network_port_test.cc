// The URL of a serial port on a network, and the telnet stream.
#include "links/network_port.h"

#include <gtest/gtest.h>

#include "links/port_url.h"
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

}  // namespace
}  // namespace ulix

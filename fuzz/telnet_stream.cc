// Any bytes as the telnet stream of a serial port server. Data and commands are the same in whatever parts the stream
// comes. Data that were escaped come back unchanged.
#include "links/telnet.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"

namespace ulix {
namespace {

struct Heard final : telnet::Listener {
  void OnOption(std::uint8_t verb, std::uint8_t option) override {
    log += "option " + std::to_string(verb) + " " + std::to_string(option) + "\n";
  }
  void OnComPort(std::uint8_t code, std::string_view value) override {
    log += "command " + std::to_string(code) + " " + std::string(value) + "\n";
  }
  std::string log;
};

void Check(std::string_view bytes) {
  Heard whole;
  std::string data;
  telnet::Decoder().Take(bytes, data, whole);

  Heard pieces;
  std::string in_pieces;
  telnet::Decoder decoder;
  for (std::size_t at = 0; at < bytes.size(); ++at) decoder.Take(bytes.substr(at, 1), in_pieces, pieces);
  Require(data == in_pieces && whole.log == pieces.log, "a stream reads alike however it is cut");

  Heard nothing;
  std::string back;
  telnet::Decoder().Take(telnet::Escaped(bytes), back, nothing);
  Require(back == bytes && nothing.log.empty(), "escaped data come back");

  Heard answer;
  std::string none;
  telnet::Decoder().Take(telnet::ComPortCommand(telnet::kBaudRate, bytes.substr(0, 8)), none, answer);
  Require(none.empty() && !answer.log.empty(), "a command is no data");
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ulix::Check({reinterpret_cast<const char*>(data), size});
  return 0;
}

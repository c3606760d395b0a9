// The telnet stream of a serial port server (RFC 2217): bytes of the line with commands among them. Codes and names are
// those of RFC 854 and RFC 2217.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ulix::telnet {

enum Verb : std::uint8_t { kSe = 0xF0, kSb = 0xFA, kWill = 0xFB, kWont = 0xFC, kDo = 0xFD, kDont = 0xFE, kIac = 0xFF };
enum Option : std::uint8_t { kBinary = 0, kSuppressGoAhead = 3, kComPort = 0x2C };

// Commands of the option COM-PORT. A server answers each with its code plus kAnswer.
enum ComPortCode : std::uint8_t {
  kBaudRate = 1,         // 4 bytes, most significant first
  kDataBits = 2,         // 5 to 8
  kParity = 3,           // 1 none, 2 odd, 3 even; 0 asks for the present value, as in the other settings
  kStopBits = 4,         // 1, 2
  kControl = 5,          // a value of Control
  kLineState = 6,        // sent by a server only: bits of line errors
  kModemState = 7,       // sent by a server only: bits of the line's inputs
  kLineStateMask = 10,   // which line errors a client wants to be told
  kModemStateMask = 11,  // which inputs a client wants to be told
  kPurge = 12,           // discards: 1 received bytes, 2 bytes to be sent, 3 both
  kAnswer = 100
};

// Values of the command kControl. A server answers a question (kAsk...) with the value in force.
enum Control : std::uint8_t {
  kAskFlow = 0,
  kNoFlow = 1,
  kXonXoffFlow = 2,
  kAskBreak = 4,
  kBreakOn = 5,
  kBreakOff = 6,
  kAskDtr = 7,
  kDtrOn = 8,
  kDtrOff = 9,
  kAskRts = 10,
  kRtsOn = 11,
  kRtsOff = 12,
  kDsrFlow = 19
};

// Bits of kLineState: a byte was lost, or arrived damaged.
inline constexpr std::uint8_t kOverrun = 2;
inline constexpr std::uint8_t kParityError = 4;
inline constexpr std::uint8_t kFramingError = 8;
inline constexpr std::uint8_t kDamage = kOverrun | kParityError | kFramingError;

// Receives the commands that a decoder finds in the stream, during the call of Decoder::Take.
class Listener {
 public:
  virtual ~Listener() = default;
  virtual void OnOption(std::uint8_t verb, std::uint8_t option) = 0;
  virtual void OnComPort(std::uint8_t code, std::string_view value) = 0;
};

// Separates data from commands. A command may be split between two pieces of the stream. A subnegotiation that another
// command interrupts is dropped. A subnegotiation that is longer than any known one is cut. Not thread-safe.
class Decoder {
 public:
  // Appends the data in `bytes` to `data`, and passes the commands to `listener`.
  void Take(std::string_view bytes, std::string& data, Listener& listener);

 private:
  enum class State { kData, kCommand, kOption, kSubnegotiation, kSubnegotiationCommand };
  void TakeCommand(std::uint8_t byte, std::string& data, Listener& listener);
  void EndSubnegotiation(Listener& listener) const;
  void Keep(char byte);

  State state_ = State::kData;
  std::uint8_t verb_ = 0;
  std::string subnegotiation_;
};

// Data as they are sent in the stream: each byte 255 is doubled.
std::string Escaped(std::string_view data);
// The bytes of a command.
std::string OptionCommand(Verb verb, Option option);
std::string ComPortCommand(std::uint8_t code, std::string_view value);
std::string ComPortCommand(std::uint8_t code, std::uint8_t value);
// The value of kBaudRate for a rate in bits per second.
std::string RateValue(std::uint32_t rate);
// The rate in a value of kBaudRate; 0 for a value that does not have four bytes.
std::uint32_t RateOf(std::string_view value);

}  // namespace ulix::telnet

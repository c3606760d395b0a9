// Modbus messages between bytes and values. Pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ulix::modbus {

enum Function : std::uint8_t {
  kReadCoils = 1,
  kReadInputs = 2,
  kReadHolding = 3,
  kReadInputRegisters = 4,
  kWriteCoil = 5,
  kWriteSingle = 6,
  kWriteCoils = 15,
  kWriteMultiple = 16,
  kReadAndWrite = 23,
};
inline constexpr std::uint8_t kExceptionFlag = 0x80;
enum Exception : std::uint8_t { kIllegalFunction = 1, kIllegalAddress = 2, kIllegalData = 3 };

inline constexpr std::size_t kMaxRead = 125;
inline constexpr std::size_t kMaxWritten = 123;
inline constexpr std::size_t kLongestPdu = 253;
inline constexpr int kMaxReply = kLongestPdu + 1;  // in a place that holds one with a terminator

void AppendWord(std::string& bytes, std::uint16_t value);  // high byte first
std::uint16_t WordAt(std::string_view bytes, std::size_t at);

// Requests without address and check ("protocol data units").
std::string ReadRequest(std::uint16_t address, std::size_t count);
std::string WriteRequest(std::uint16_t address, std::span<const std::uint16_t> registers);
std::string WriteOneRequest(std::uint16_t address, std::uint16_t value);

// The exception code of a reply to `request`; none when the reply is none.
std::optional<std::uint8_t> ExceptionIn(std::string_view reply, std::string_view request);
// Fills all of `registers`; false for a reply of any other form or length.
bool TakeRegisters(std::string_view reply, std::span<std::uint16_t> registers);
// Whether a write was confirmed: the reply repeats the request's function, address and count or value.
bool Confirms(std::string_view reply, std::string_view request);

// How a reply to a function goes on behind it.
enum class ReplyForm {
  kUnknown,
  kCounted,  // a count of bytes, then so many bytes: what reads bits or registers
  kEcho,     // the next four bytes of the request: what only writes
};
ReplyForm FormOfReply(std::uint8_t function);
// The count of bytes in the reply to a request whose reply is counted and that has at least kShortestFormed bytes.
std::uint8_t CountOfReply(std::string_view request);
inline constexpr std::size_t kShortestFormed = 5;  // bytes of a request whose reply has a known form, at least

// A request as a person types it: its bytes in hexadecimal, the function first, with blanks between bytes or without.
// None for any other text, for a function beyond 1 to 127, and for a request that fits no frame.
std::optional<std::string> RequestIn(std::string_view typed);
// A message as it is shown to a person: "03 02 12 34".
std::string HexText(std::string_view message);

// Check of a serial frame: CRC-16, polynomial 0xA001, low byte first on the wire.
std::uint16_t Crc16(std::string_view bytes);
// Address, message and check.
std::string SerialFrame(std::uint8_t slave, std::string_view pdu);
// Whole length of a serial reply of which at least three bytes are there; 0 where the form of the reply is unknown.
std::size_t SerialReplyLength(std::string_view start);

// Head of a frame on a network: transaction, protocol 0, length of what follows, slave.
inline constexpr std::size_t kNetworkHead = 7;
std::string NetworkFrame(std::uint16_t transaction, std::uint8_t slave, std::string_view pdu);
// Whole length of the frame that begins with this head; 0 when it is no Modbus frame.
std::size_t NetworkFrameLength(std::string_view head);

}  // namespace ulix::modbus

// Conversions between Modbus messages and values. Pure functions. "PDU" (protocol data unit) is a request or reply
// without slave address and checksum.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ulix::modbus {

// The function codes that this library knows.
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
// A slave that refuses a request answers with the function plus this flag, and an exception code.
inline constexpr std::uint8_t kExceptionFlag = 0x80;
enum Exception : std::uint8_t { kIllegalFunction = 1, kIllegalAddress = 2, kIllegalData = 3 };

// Limits of the protocol: registers in one request, and bytes in one PDU.
inline constexpr std::size_t kMaxRead = 125;
inline constexpr std::size_t kMaxWritten = 123;
inline constexpr std::size_t kLongestPdu = 253;
inline constexpr int kMaxReply = kLongestPdu + 1;  // as ReplyPlan::size, which counts a terminator

// 16-bit words, high byte first. `bytes` must hold the word at `at`.
void AppendWord(std::string& bytes, std::uint16_t value);
std::uint16_t WordAt(std::string_view bytes, std::size_t at);

// Request PDUs of functions 3, 16 and 6. Register addresses count from 0. The caller keeps to kMaxRead and kMaxWritten.
std::string ReadRequest(std::uint16_t address, std::size_t count);
std::string WriteRequest(std::uint16_t address, std::span<const std::uint16_t> registers);
std::string WriteOneRequest(std::uint16_t address, std::uint16_t value);

// The exception code in a reply to `request`. None when the reply is not an exception.
std::optional<std::uint8_t> ExceptionIn(std::string_view reply, std::string_view request);
// Reads the registers of a reply to function 3 and fills all of `registers`. False for a reply of any other form or
// length.
bool TakeRegisters(std::string_view reply, std::span<std::uint16_t> registers);
// Whether a reply confirms a write: it repeats the function, the address, and the count or value of the request.
bool Confirms(std::string_view reply, std::string_view request);

// The form of a reply after its function code.
enum class ReplyForm {
  kUnknown,
  kCounted,  // a count, then that number of bytes: replies to functions that read
  kEcho,     // the next four bytes of the request: replies to functions that only write
};
ReplyForm FormOfReply(std::uint8_t function);
// The count of bytes in the reply to a request. The reply must have the form kCounted, and the request at least
// kShortestFormed bytes.
std::uint8_t CountOfReply(std::string_view request);
inline constexpr std::size_t kShortestFormed = 5;  // least bytes of a request whose reply has a known form

// A request as a person types it: bytes in hexadecimal, the function first, with or without blanks between bytes: "03
// 0000 0002". None for any other text, for a function outside 1 to 127, and for more than kLongestPdu bytes.
std::optional<std::string> RequestIn(std::string_view typed);
// A message as it is shown to a person, in hexadecimal: "03 02 12 34".
std::string HexText(std::string_view message);

// The checksum of a serial frame: CRC-16 with polynomial 0xA001. Its low byte comes first on the line.
std::uint16_t Crc16(std::string_view bytes);
// A serial frame: slave address, PDU and checksum.
std::string SerialFrame(std::uint8_t slave, std::string_view pdu);
// The length in bytes of a serial frame, from its first three or more bytes. 0 when the form of the reply is unknown.
std::size_t SerialReplyLength(std::string_view start);

// The head of a network frame, in bytes: transaction number, protocol 0, length of the rest, slave address.
inline constexpr std::size_t kNetworkHead = 7;
std::string NetworkFrame(std::uint16_t transaction, std::uint8_t slave, std::string_view pdu);
// The length in bytes of the network frame that begins with this head. 0 when it is not a Modbus frame.
std::size_t NetworkFrameLength(std::string_view head);

}  // namespace ulix::modbus

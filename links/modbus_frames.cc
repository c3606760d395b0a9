#include "links/modbus_frames.h"

#include <array>

#include "base/guid.h"
#include "base/text.h"

namespace ulix::modbus {
namespace {

constexpr std::size_t kCheckSize = 2;
constexpr std::size_t kShortestPdu = 2;  // an exception

consteval std::array<std::uint16_t, 256> CrcTable() {
  std::array<std::uint16_t, 256> table{};
  for (unsigned i = 0; i < table.size(); ++i) {
    unsigned crc = i;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0xA001U : crc >> 1U;
    table[i] = static_cast<std::uint16_t>(crc);
  }
  return table;
}
constexpr std::array kCrcTable = CrcTable();

std::uint8_t ByteAt(std::string_view bytes, std::size_t at) { return static_cast<std::uint8_t>(bytes[at]); }

std::string Head(Function function, std::uint16_t address) {
  std::string pdu(1, static_cast<char>(function));
  AppendWord(pdu, address);
  return pdu;
}

}  // namespace

void AppendWord(std::string& bytes, std::uint16_t value) {
  bytes += static_cast<char>(value >> 8U);
  bytes += static_cast<char>(value & 0xFFU);
}

std::uint16_t WordAt(std::string_view bytes, std::size_t at) {
  return static_cast<std::uint16_t>(ByteAt(bytes, at) << 8U | ByteAt(bytes, at + 1));
}

std::string ReadRequest(std::uint16_t address, std::size_t count) {
  std::string pdu = Head(kReadHolding, address);
  AppendWord(pdu, static_cast<std::uint16_t>(count));
  return pdu;
}

std::string WriteRequest(std::uint16_t address, std::span<const std::uint16_t> registers) {
  std::string pdu = Head(Function::kWriteMultiple, address);
  AppendWord(pdu, static_cast<std::uint16_t>(registers.size()));
  pdu += static_cast<char>(registers.size() * 2);
  for (const std::uint16_t value : registers) AppendWord(pdu, value);
  return pdu;
}

std::string WriteOneRequest(std::uint16_t address, std::uint16_t value) {
  std::string pdu = Head(kWriteSingle, address);
  AppendWord(pdu, value);
  return pdu;
}

std::optional<std::uint8_t> ExceptionIn(std::string_view reply, std::string_view request) {
  const bool is_one = reply.size() == 2 && ByteAt(reply, 0) == (ByteAt(request, 0) | kExceptionFlag);
  return is_one ? std::optional(ByteAt(reply, 1)) : std::nullopt;
}

bool TakeRegisters(std::string_view reply, std::span<std::uint16_t> registers) {
  const std::size_t bytes = registers.size() * 2;
  if (reply.size() != bytes + 2 || ByteAt(reply, 0) != kReadHolding || ByteAt(reply, 1) != bytes) return false;
  for (std::size_t i = 0; i < registers.size(); ++i) registers[i] = WordAt(reply, 2 + 2 * i);
  return true;
}

bool Confirms(std::string_view reply, std::string_view request) {
  constexpr std::size_t kConfirmation = 5;
  return reply.size() == kConfirmation && reply == request.substr(0, kConfirmation);
}

ReplyForm FormOfReply(std::uint8_t function) {
  switch (function) {
    case kReadCoils:
    case kReadInputs:
    case kReadHolding:
    case kReadInputRegisters:
    case kReadAndWrite:
      return ReplyForm::kCounted;
    case kWriteCoil:
    case kWriteSingle:
    case kWriteCoils:
    case Function::kWriteMultiple:
      return ReplyForm::kEcho;
    default:
      return ReplyForm::kUnknown;
  }
}

std::uint8_t CountOfReply(std::string_view request) {
  const unsigned items = WordAt(request, 3);
  const bool bits = ByteAt(request, 0) <= kReadInputs;
  return static_cast<std::uint8_t>(bits ? (items + 7) / 8 : 2 * items);
}

std::optional<std::string> RequestIn(std::string_view typed) {
  std::string request;
  for (const std::string_view word : SplitWords(typed, kBlanks)) {
    if (word.size() % 2 != 0) return std::nullopt;
    for (std::size_t at = 0; at < word.size(); at += 2) {
      const unsigned high = HexDigit(word[at]);
      const unsigned low = HexDigit(word[at + 1]);
      if (high > 15 || low > 15) return std::nullopt;
      request += static_cast<char>(high << 4U | low);
    }
  }
  if (request.empty() || request.size() > kLongestPdu) return std::nullopt;
  const std::uint8_t function = ByteAt(request, 0);
  if (function == 0 || (function & kExceptionFlag) != 0) return std::nullopt;
  return request;
}

std::string HexText(std::string_view message) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const char c : message) {
    const auto byte = static_cast<std::uint8_t>(c);
    if (!text.empty()) text += ' ';
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 15U];
  }
  return text;
}

std::uint16_t Crc16(std::string_view bytes) {
  unsigned crc = 0xFFFF;
  for (const char byte : bytes) crc = crc >> 8U ^ kCrcTable[(crc ^ static_cast<unsigned char>(byte)) & 0xFFU];
  return static_cast<std::uint16_t>(crc);
}

std::string SerialFrame(std::uint8_t slave, std::string_view pdu) {
  std::string frame(1, static_cast<char>(slave));
  frame += pdu;
  const std::uint16_t crc = Crc16(frame);
  frame += static_cast<char>(crc & 0xFFU);
  frame += static_cast<char>(crc >> 8U);
  return frame;
}

std::size_t SerialReplyLength(std::string_view start) {
  const std::uint8_t function = ByteAt(start, 1);
  if ((function & kExceptionFlag) != 0) return 3 + kCheckSize;
  const ReplyForm form = FormOfReply(function);
  if (form == ReplyForm::kCounted) return 3 + std::size_t{ByteAt(start, 2)} + kCheckSize;
  return form == ReplyForm::kEcho ? 6 + kCheckSize : 0;
}

std::string NetworkFrame(std::uint16_t transaction, std::uint8_t slave, std::string_view pdu) {
  std::string frame;
  AppendWord(frame, transaction);
  AppendWord(frame, 0);
  AppendWord(frame, static_cast<std::uint16_t>(pdu.size() + 1));
  frame += static_cast<char>(slave);
  return frame += pdu;
}

std::size_t NetworkFrameLength(std::string_view head) {
  const std::size_t length = WordAt(head, 4);
  const bool known = WordAt(head, 2) == 0 && length > kShortestPdu && length <= kLongestPdu + 1;
  return known ? kNetworkHead - 1 + length : 0;
}

}  // namespace ulix::modbus

#include "simulators/modbus_slave.h"

#include <algorithm>

namespace ulix {
namespace {

constexpr std::size_t kIncomplete = 0;
constexpr std::size_t kBroken = 1000;  // Longer than any frame.

unsigned Byte(std::string_view bytes, std::size_t at) { return static_cast<unsigned char>(bytes[at]); }
unsigned Big(std::string_view bytes, std::size_t at) { return Byte(bytes, at) * 256 + Byte(bytes, at + 1); }

std::string BigBytes(unsigned value) { return {static_cast<char>(value / 256 % 256), static_cast<char>(value % 256)}; }

// The CRC, computed bit by bit as in the protocol's description.
std::string Check(std::string_view bytes) {
  unsigned check = 0xFFFF;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    check ^= Byte(bytes, i);
    for (int bit = 0; bit < 8; ++bit) check = check % 2 == 1 ? check / 2 ^ 0xA001 : check / 2;
  }
  return {static_cast<char>(check % 256), static_cast<char>(check / 256)};
}

// The length of a request on a line, from its function and count: the frame has no length field.
std::size_t LineRequestLength(std::string_view bytes) {
  if (bytes.size() < 2) return kIncomplete;
  switch (Byte(bytes, 1)) {
    case 3:
    case 6:
      return 8;
    case 16:
      return bytes.size() < 7 ? kIncomplete : 9 + Byte(bytes, 6);
    default:
      return kBroken;
  }
}

std::size_t NetworkRequestLength(std::string_view bytes) {
  if (bytes.size() < 7) return kIncomplete;
  const bool known = Big(bytes, 2) == 0 && Big(bytes, 4) >= 3 && Big(bytes, 4) <= 254;
  return known ? 6 + Big(bytes, 4) : kBroken;
}

}  // namespace

std::size_t ModbusSlaveSimulator::FrameLength() const {
  return network_ ? NetworkRequestLength(pending_) : LineRequestLength(pending_);
}

std::vector<SimulatedReply> ModbusSlaveSimulator::Receive(std::string_view bytes) {
  std::vector<SimulatedReply> replies;
  pending_ += bytes;
  for (std::size_t length = FrameLength(); length != kIncomplete; length = FrameLength()) {
    if (length == kBroken) {
      NoteUnknown(pending_);
      pending_.clear();
    }
    if (length > pending_.size()) break;
    const std::string frame = pending_.substr(0, length);
    pending_.erase(0, length);
    replies.push_back(Answer(frame));
  }
  return replies;
}

// A request for another slave and a damaged request are not answered.
SimulatedReply ModbusSlaveSimulator::Answer(std::string_view frame) {
  const std::size_t slave_at = network_ ? 6 : 0;
  if (Byte(frame, slave_at) != slave_) return {};
  std::string_view message = frame.substr(slave_at + 1);
  if (!network_) {
    const bool whole = Check(frame.substr(0, frame.size() - 2)) == frame.substr(frame.size() - 2);
    if (!whole) NoteUnknown(frame);
    if (!whole) return {};
    message.remove_suffix(2);
  }
  head_ = frame.substr(0, 4);
  asked_ = static_cast<std::uint8_t>(message[0]);
  return {Framed(Act(message)), true};
}

std::string ModbusSlaveSimulator::Act(std::string_view message) {
  std::string reply(message.substr(0, std::min<std::size_t>(message.size(), 5)));
  std::uint8_t exception = kNoFunction;
  if (asked_ == 3 && message.size() == 5) {
    std::vector<std::uint16_t> values(std::min(Big(message, 3), 126U));
    exception = values.empty() || values.size() > 125 ? kBadValue : ReadRegisters(Big(message, 1), values);
    reply = {message[0], static_cast<char>(values.size() * 2)};
    for (const std::uint16_t value : values) reply += BigBytes(value);
  } else if (asked_ == 6 && message.size() == 5) {
    exception = WriteRegister(Big(message, 1), static_cast<std::uint16_t>(Big(message, 3)));
  } else if (asked_ == 16 && message.size() >= 6) {
    std::vector<std::uint16_t> values;
    for (std::size_t at = 6; at + 1 < message.size(); at += 2)
      values.push_back(static_cast<std::uint16_t>(Big(message, at)));
    const bool whole = values.size() == Big(message, 3) && values.size() * 2 == Byte(message, 5) && !values.empty();
    exception = whole ? WriteRegisters(Big(message, 1), values) : kBadValue;
  }
  if (exception == kDone) return reply;
  if (exception != kBadValue) NoteUnknown(message);
  return {static_cast<char>(asked_ | 0x80), static_cast<char>(exception)};
}

std::string ModbusSlaveSimulator::Framed(std::string_view message) const {
  std::string frame(1, static_cast<char>(slave_));
  frame += message;
  return network_ ? head_ + BigBytes(static_cast<unsigned>(frame.size())) + frame : frame + Check(frame);
}

std::string ModbusSlaveSimulator::Refusal() const {
  return Framed(std::string{static_cast<char>(asked_ | 0x80), static_cast<char>(kBadValue)});
}

}  // namespace ulix

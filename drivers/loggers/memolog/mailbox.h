// The two kinds of messages that go through a Memolog's registers: lines of text, and program frames.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "drivers/loggers/memolog/protocol.h"
#include "sessions/modbus_registers.h"

namespace ulix::memolog {

// The first register of a line of text.
inline constexpr std::uint16_t kTextRegister = 600;

// Used within one exchange. Errors: those of ModbusRegisters; for a frame that the logger refuses,
// memologErrExceptionCode plus the logger's status.
class Mailbox {
 public:
  explicit Mailbox(ModbusRegisters& registers) : registers_(registers) {}

  // Sends a command, or sends it and reads its reply up to the zero byte.
  HRESULT SendText(std::string_view command);
  Expected<std::string> AskText(std::string_view command);

  // Sends a frame and reads no reply.
  HRESULT Tell(Command command, std::span<const std::uint16_t> data);
  // Sends a frame and reads its reply from word 0 on: first `at_once` words, then more if the count in the reply says
  // so.
  Expected<Words> Ask(Command command, std::span<const std::uint16_t> data, std::size_t at_once);

 private:
  HRESULT WriteFrame(std::span<const std::uint16_t> frame);
  HRESULT Refused();
  HRESULT ReadReply(Words& reply, std::size_t until);

  ModbusRegisters& registers_;
};

}  // namespace ulix::memolog

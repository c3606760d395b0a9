// The two ways in which a Memolog is spoken to through its registers: lines of text, and program frames.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "drivers/loggers/memolog/protocol.h"
#include "sessions/modbus_registers.h"

namespace ulix::memolog {

// The first register of the lines of text.
inline constexpr std::uint16_t kTextRegister = 600;

// Within one exchange. Failures are those of the registers; memologErrExceptionCode plus the logger's status for a
// frame that the logger refuses.
class Mailbox {
 public:
  explicit Mailbox(ModbusRegisters& registers) : registers_(registers) {}

  // A command, and its reply up to its zero.
  HRESULT SendText(std::string_view command);
  Expected<std::string> AskText(std::string_view command);

  // A frame whose reply is not read.
  HRESULT Tell(Command command, std::span<const std::uint16_t> data);
  // A frame and its reply from word 0 on: `at_once` words, and more when the reply's own count says so.
  Expected<Words> Ask(Command command, std::span<const std::uint16_t> data, std::size_t at_once);

 private:
  HRESULT WriteFrame(std::span<const std::uint16_t> frame);
  HRESULT Refused();
  HRESULT ReadReply(Words& reply, std::size_t until);

  ModbusRegisters& registers_;
};

}  // namespace ulix::memolog

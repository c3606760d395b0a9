#include "drivers/loggers/memolog/mailbox.h"

#include <algorithm>
#include <array>

namespace ulix::memolog {
namespace {

constexpr std::size_t kTextReplyRegisters = 50;
constexpr std::uint16_t kTextReadyRegister = 649;  // read once before the reply; the meaning of its value is not known
constexpr std::uint16_t kFrameRegister = 44000;
constexpr std::uint16_t kStatusRegister = 44198;
constexpr std::size_t kMaxReadAtOnce = 125;

std::uint16_t RegisterOf(std::size_t word) { return static_cast<std::uint16_t>(kFrameRegister + word); }

}  // namespace

HRESULT Mailbox::SendText(std::string_view command) {
  return registers_.WriteMultiple(kTextRegister, TextRegisters(command));
}

Expected<std::string> Mailbox::AskText(std::string_view command) {
  if (const HRESULT result = SendText(command); Failed(result)) return Failure(result);
  if (const auto ready = registers_.ReadOne(kTextReadyRegister); !ready) return Failure(ready.error());
  std::array<std::uint16_t, kTextReplyRegisters> reply{};
  if (const HRESULT result = registers_.ReadHolding(kTextRegister, reply); Failed(result)) return Failure(result);
  return TextIn(reply);
}

HRESULT Mailbox::WriteFrame(std::span<const std::uint16_t> frame) {
  for (const FrameBlock& block : FrameBlocks(frame.size())) {
    const HRESULT result = registers_.WriteMultiple(RegisterOf(block.first), frame.subspan(block.first, block.count));
    if (result == memologCtlErrMbusData) return Refused();
    if (Failed(result)) return result;
  }
  return S_OK;
}

HRESULT Mailbox::Refused() {
  const auto status = registers_.ReadOne(kStatusRegister);
  return status ? memologErrExceptionCode + *status : status.error();
}

HRESULT Mailbox::Tell(Command command, std::span<const std::uint16_t> data) {
  Words frame = {command, static_cast<std::uint16_t>(data.size())};
  frame.insert(frame.end(), data.begin(), data.end());
  return WriteFrame(frame);
}

HRESULT Mailbox::ReadReply(Words& reply, std::size_t until) {
  while (reply.size() < until) {
    const std::size_t first = reply.size();
    reply.resize(std::min(until, first + kMaxReadAtOnce));
    const HRESULT result = registers_.ReadHolding(RegisterOf(first), std::span(reply).subspan(first));
    if (Failed(result)) return result;
  }
  return S_OK;
}

Expected<Words> Mailbox::Ask(Command command, std::span<const std::uint16_t> data, std::size_t at_once) {
  if (const HRESULT result = Tell(command, data); Failed(result)) return Failure(result);
  Words reply;
  if (const HRESULT result = ReadReply(reply, at_once); Failed(result)) return Failure(result);
  const std::size_t whole = std::min(kFrameHead + reply[1], kMaxFrameWords);
  if (const HRESULT result = ReadReply(reply, whole); Failed(result)) return Failure(result);
  return reply;
}

}  // namespace ulix::memolog

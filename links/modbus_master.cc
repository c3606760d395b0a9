#include "links/modbus_master.h"

#include "links/modbus_frames.h"

namespace ulix {

HRESULT ModbusMaster::Open() {
  const HRESULT result = transport_->Open(timeout_);
  open_ = Succeeded(result);
  return result;
}

void ModbusMaster::Close() {
  transport_->Close();
  open_ = false;
}

Expected<bool> ModbusMaster::Restore() {
  if (!open_) return Failure(transport_->Closed());
  return given_up_() ? Failure(NoAnswer()) : transport_->Restore(timeout_);
}

std::optional<TextId> ModbusMaster::TextOf(HRESULT code) const {
  if (code == networkCommErrUnableToConnect) return TextId::kNoIpPort;
  if (code == serialCommErrUnableToOpenComm) return TextId::kNoSerialPort;
  return std::nullopt;
}

// The reply, unless it is an exception.
Expected<std::string_view> ModbusMaster::Ask(std::string_view request) {
  if (!open_) return Failure(transport_->Closed());
  if (given_up_()) return Failure(NoAnswer());
  const auto reply = transport_->Exchange(slave_, request, timeout_);
  const auto exception = reply ? modbus::ExceptionIn(*reply, request) : std::nullopt;
  if (!exception) return reply;
  switch (*exception) {
    case modbus::kIllegalFunction:
      return Failure(exceptions_.function);
    case modbus::kIllegalAddress:
      return Failure(exceptions_.address);
    case modbus::kIllegalData:
      return Failure(exceptions_.data);
    default:
      return Failure(NoAnswer());
  }
}

HRESULT ModbusMaster::ReadHolding(std::uint16_t address, std::span<std::uint16_t> registers) {
  if (registers.empty() || registers.size() > modbus::kMaxRead) return E_INVALIDARG;
  const auto reply = Ask(modbus::ReadRequest(address, registers.size()));
  if (!reply) return reply.error();
  return modbus::TakeRegisters(*reply, registers) ? S_OK : Misunderstood();
}

HRESULT ModbusMaster::Misunderstood() {
  transport_->Distrust();
  return NoAnswer();
}

HRESULT ModbusMaster::Write(std::string_view request) {
  const auto reply = Ask(request);
  if (!reply) return reply.error();
  return modbus::Confirms(*reply, request) ? S_OK : Misunderstood();
}

HRESULT ModbusMaster::WriteMultiple(std::uint16_t address, std::span<const std::uint16_t> registers) {
  if (registers.empty() || registers.size() > modbus::kMaxWritten) return E_INVALIDARG;
  return Write(modbus::WriteRequest(address, registers));
}

HRESULT ModbusMaster::WriteOne(std::uint16_t address, std::uint16_t value) {
  return Write(modbus::WriteOneRequest(address, value));
}

Expected<std::uint16_t> ModbusMaster::ReadOne(std::uint16_t address) {
  std::uint16_t value = 0;
  const HRESULT result = ReadHolding(address, {&value, 1});
  if (Failed(result)) return Failure(result);
  return value;
}

}  // namespace ulix

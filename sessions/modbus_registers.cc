#include "sessions/modbus_registers.h"

#include "links/modbus_frames.h"

namespace ulix {

HRESULT ModbusRegisters::RefusalOf(std::uint8_t exception) const {
  switch (exception) {
    case modbus::kIllegalFunction:
      return refusals_.function;
    case modbus::kIllegalAddress:
      return refusals_.address;
    case modbus::kIllegalData:
      return refusals_.data;
    default:
      return Unread();
  }
}

// `take` returns whether the reply answers the request. If not, it may belong to another request.
template <typename Take>
HRESULT ModbusRegisters::Ask(const std::string& request, Take&& take) {
  HRESULT refusal = S_OK;
  const auto parse = [&](const std::string& reply) -> Expected<bool> {
    if (const auto exception = modbus::ExceptionIn(reply, request)) {
      refusal = RefusalOf(*exception);
      return false;
    }
    return take(reply) ? Expected<bool>(true) : Failure(Unread());
  };
  const auto taken = talk_.Query(request, {.size = modbus::kMaxReply, .read_ms = read_ms_}, parse);
  return taken ? refusal : taken.error();
}

HRESULT ModbusRegisters::ReadHolding(std::uint16_t address, std::span<std::uint16_t> registers) {
  if (registers.empty() || registers.size() > modbus::kMaxRead) return E_INVALIDARG;
  return Ask(modbus::ReadRequest(address, registers.size()),
             [&](std::string_view reply) { return modbus::TakeRegisters(reply, registers); });
}

HRESULT ModbusRegisters::Write(const std::string& request) {
  return Ask(request, [&](std::string_view reply) { return modbus::Confirms(reply, request); });
}

HRESULT ModbusRegisters::WriteMultiple(std::uint16_t address, std::span<const std::uint16_t> registers) {
  if (registers.empty() || registers.size() > modbus::kMaxWritten) return E_INVALIDARG;
  return Write(modbus::WriteRequest(address, registers));
}

HRESULT ModbusRegisters::WriteOne(std::uint16_t address, std::uint16_t value) {
  return Write(modbus::WriteOneRequest(address, value));
}

Expected<std::uint16_t> ModbusRegisters::ReadOne(std::uint16_t address) {
  std::uint16_t value = 0;
  const HRESULT result = ReadHolding(address, {&value, 1});
  if (Failed(result)) return Failure(result);
  return value;
}

}  // namespace ulix

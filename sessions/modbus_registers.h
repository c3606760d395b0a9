// The registers of one Modbus slave, within one exchange.
#pragma once

#include <cstdint>
#include <span>

#include "sessions/session.h"

namespace ulix {

// The codes in which a control tells exception replies apart: illegal function (1), illegal data address (2), illegal
// data value (3).
struct ModbusRefusalCodes {
  HRESULT function;
  HRESULT address;
  HRESULT data;
};

// Register numbers are protocol addresses, from 0. Failures are the link's codes; exception replies are the control's
// three, and any other exception is the link's code for an unread reply. A client of the remote Modbus server component
// would be another framer; the codes that tell its failures to open apart have texts already (kNoModbusServer,
// kAccessRights).
class ModbusRegisters {
 public:
  ModbusRegisters(Conversation& talk, const ModbusRefusalCodes& refusals) : talk_(talk), refusals_(refusals) {}

  // Of the next requests; 0: the link's.
  void SetTimeout(std::uint32_t read_ms) { read_ms_ = read_ms; }

  // Function 3, at most 125 registers.
  HRESULT ReadHolding(std::uint16_t address, std::span<std::uint16_t> registers);
  // Function 16, at most 123 registers.
  HRESULT WriteMultiple(std::uint16_t address, std::span<const std::uint16_t> registers);
  // Function 3 and function 6.
  Expected<std::uint16_t> ReadOne(std::uint16_t address);
  HRESULT WriteOne(std::uint16_t address, std::uint16_t value);

  // The link's code for a reply that did not come, or that makes no sense.
  HRESULT Unread() const { return talk_.Unread(); }

 private:
  template <typename Take>
  HRESULT Ask(const std::string& request, Take&& take);
  HRESULT Write(const std::string& request);
  HRESULT RefusalOf(std::uint8_t exception) const;

  Conversation& talk_;
  const ModbusRefusalCodes& refusals_;
  std::uint32_t read_ms_ = 0;
};

}  // namespace ulix

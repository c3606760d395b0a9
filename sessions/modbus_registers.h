// The registers of one Modbus slave, within one exchange.
#pragma once

#include <cstdint>
#include <span>

#include "sessions/session.h"

namespace ulix {

// A control's codes for the exception replies 1 (illegal function), 2 (illegal data address) and 3 (illegal data
// value).
struct ModbusRefusalCodes {
  HRESULT function;
  HRESULT address;
  HRESULT data;
};

// Register numbers are protocol addresses, from 0. Errors: the link's codes; the three codes above for exception
// replies; the link's code for an unread reply for any other exception. Used on the thread of the exchange.
//
// A client of the remote Modbus server component would be another framer. The codes of its failures to open have texts
// already (kNoModbusServer, kAccessRights).
class ModbusRegisters {
 public:
  ModbusRegisters(Conversation& talk, const ModbusRefusalCodes& refusals) : talk_(talk), refusals_(refusals) {}

  // The timeout of the next requests, in milliseconds; 0: the link's.
  void SetTimeout(std::uint32_t read_ms) { read_ms_ = read_ms; }

  // Function 3. E_INVALIDARG for none or more than 125 registers.
  HRESULT ReadHolding(std::uint16_t address, std::span<std::uint16_t> registers);
  // Function 16. E_INVALIDARG for none or more than 123 registers.
  HRESULT WriteMultiple(std::uint16_t address, std::span<const std::uint16_t> registers);
  // Function 3 and function 6 for one register.
  Expected<std::uint16_t> ReadOne(std::uint16_t address);
  HRESULT WriteOne(std::uint16_t address, std::uint16_t value);

  // The link's code for a reply that did not come or that makes no sense.
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

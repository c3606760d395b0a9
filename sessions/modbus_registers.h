// Access to the registers of one Modbus slave, within one exchange.
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

// Register numbers are protocol addresses and count from 0. Errors: the link's codes; for the exceptions 1 to 3 the
// codes above; for any other exception the link's code for an unread reply. Use an object only within its exchange and
// on the thread of that exchange.
//
// Exchange([&](Conversation& talk) {
// ModbusRegisters slave(talk, kRefusals);
// std::array<std::uint16_t, 2> words{};
// return slave.ReadHolding(100, words);
// });
//
// A link to a remote Modbus server component does not exist yet. Its failures to open already have texts
// (kNoModbusServer, kAccessRights).
class ModbusRegisters {
 public:
  ModbusRegisters(Conversation& talk, const ModbusRefusalCodes& refusals) : talk_(talk), refusals_(refusals) {}

  // Sets the timeout of the next requests, in milliseconds. 0: that of the link.
  void SetTimeout(std::uint32_t read_ms) { read_ms_ = read_ms; }

  // Reads registers with function 3. E_INVALIDARG for no register or more than 125.
  HRESULT ReadHolding(std::uint16_t address, std::span<std::uint16_t> registers);
  // Writes registers with function 16. E_INVALIDARG for no register or more than 123.
  HRESULT WriteMultiple(std::uint16_t address, std::span<const std::uint16_t> registers);
  // Read one register with function 3, and write one with function 6.
  Expected<std::uint16_t> ReadOne(std::uint16_t address);
  HRESULT WriteOne(std::uint16_t address, std::uint16_t value);

  // The link's code for a reply that did not come or cannot be read.
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

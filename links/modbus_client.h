// Modbus as instruments use it: registers of one slave. Who carries the requests is behind this.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "base/result.h"
#include "platform/clock.h"
#include "resources/texts.h"

namespace ulix {

// The codes in which a control tells exception replies apart: illegal function (1), illegal data address (2), illegal
// data value (3).
struct ModbusRefusalCodes {
  HRESULT function;
  HRESULT address;
  HRESULT data;
};

// The seam for another way to the instrument: a client of the remote Modbus server component would stand here, beside
// ModbusMaster, and TextOf would tell its failures to open apart: kNoModbusServer, kAccessRights and the two below.
//
// Register numbers are protocol addresses, from 0. Each request and its reply are bounded by the timeout. Failures of
// the way are its link's own codes; exception replies are the control's three, and any other exception is NoAnswer().
// A way that is lost in between stays so until Restore, so that no exchange goes on at another instrument than it began
// with. One thread at a time.
class ModbusClient {
 public:
  virtual ~ModbusClient() = default;

  // Where requests go from here on: the slave's address, and how long one may take.
  virtual void SetSlave(std::uint8_t slave) = 0;
  virtual void SetTimeout(Milliseconds timeout) = 0;
  virtual Milliseconds timeout() const = 0;

  virtual HRESULT Open() = 0;
  virtual void Close() = 0;
  virtual bool IsOpen() const = 0;
  // Opens the way again where it was lost after Open. True when another device may be there by now.
  virtual Expected<bool> Restore() = 0;
  // The link's code for a closed way when the device is gone from it, as far as that can be told without a word and
  // without a wait.
  virtual HRESULT Presence() = 0;

  // Function 3, at most 125 registers.
  virtual HRESULT ReadHolding(std::uint16_t address, std::span<std::uint16_t> registers) = 0;
  // Function 16, at most 123 registers.
  virtual HRESULT WriteMultiple(std::uint16_t address, std::span<const std::uint16_t> registers) = 0;
  // Function 3 and function 6.
  virtual Expected<std::uint16_t> ReadOne(std::uint16_t address) = 0;
  virtual HRESULT WriteOne(std::uint16_t address, std::uint16_t value) = 0;

  // The link's code for an answer that did not come, or that makes no sense.
  virtual HRESULT NoAnswer() const = 0;
  // The link's code for a request while it is not open.
  virtual HRESULT Closed() const = 0;
  // What error information says of one of its codes in place of the code's own text.
  virtual std::optional<TextId> TextOf(HRESULT code) const = 0;
};

}  // namespace ulix

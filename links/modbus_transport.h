// How a Modbus request reaches its slave and the reply comes back: over a network or over a line.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "base/result.h"
#include "links/network_address.h"
#include "links/serial_link.h"
#include "links/serial_params.h"
#include "platform/clock.h"
#include "platform/socket.h"

namespace ulix {

// One thread at a time. Codes are those of the transport's own link.
class ModbusTransport {
 public:
  virtual ~ModbusTransport() = default;
  virtual HRESULT Open(Milliseconds timeout) = 0;
  virtual void Close() = 0;
  virtual bool IsOpen() const = 0;
  // Opens the way again where it is not open. True when the device had gone from it: another one may be there by now.
  virtual Expected<bool> Restore(Milliseconds timeout) = 0;
  // False when the device is known to be gone, until the way is open again. On a network only an exchange tells.
  virtual bool IsThere() = 0;
  // Closed() when the way is lost. The reply's message, valid until the next call. It is the answer to this request and
  // to no earlier one, as far as the way can tell: transactions on a network; on a line, a silence of one timeout after
  // an exchange that failed.
  virtual Expected<std::string_view> Exchange(std::uint8_t slave, std::string_view pdu, Milliseconds timeout) = 0;
  // The last reply was no answer to its request: it may belong to an earlier one, and so may what comes next.
  virtual void Distrust() = 0;
  virtual HRESULT NoAnswer() const = 0;
  virtual HRESULT Closed() const = 0;
};

// The connection is given up, too, when what came was no Modbus; made again at once, it is taken to lead to the same
// device.
struct ModbusNetwork {
  NetworkAddress address;
  platform::SocketMaker make_socket = platform::MakeStreamSocket;
  Clock* clock = &SystemClock();
  LinkTrace trace;
};
std::unique_ptr<ModbusTransport> MakeModbusTcp(ModbusNetwork network);

// Remote terminal units on a serial line ("RTU"), at any rate that the port takes. An exchange holds the mutex of all
// serial traffic.
struct ModbusLine {
  SerialParams params;
  platform::PortResolver resolve_port = platform::ResolvePort;
  Clock* clock = &SystemClock();
  LinkTrace trace;
};
std::unique_ptr<ModbusTransport> MakeModbusRtu(ModbusLine line);

}  // namespace ulix

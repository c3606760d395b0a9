// The instrument's end of a line, for simulated instruments and for lines that are shared. Not thread-safe.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "base/result.h"
#include "platform/serial_port.h"

namespace ulix::platform {

// Who is connected to an endpoint.
struct EndpointClient {
  std::uint64_t number = 0;  // counts the clients that came; 0: nobody is connected
  std::string address;       // "10.0.0.7:50412"
  bool of_machine = false;   // it is a program of this machine
};

// What clients are told that are not served.
struct EndpointRefusal {
  std::string
      busy;  // while another one is served, whose address takes the place of '%'; empty: they wait for their turn
  std::string closed;  // at any time; empty: clients are served
};

class ByteEndpoint {
 public:
  virtual ~ByteEndpoint() = default;
  // Where clients find it: a device path or "127.0.0.1:port".
  virtual const std::string& address() const = 0;
  // Stores the bytes that have come and returns their count. Waits at most `wait` for the first; 0 when none came. When
  // a client leaves, the next one is served.
  virtual std::size_t Read(std::span<char> bytes, std::chrono::milliseconds wait) = 0;
  // Sends the bytes. Without a client they are lost, as on a line with nothing plugged in.
  virtual void Write(std::string_view bytes) = 0;

  // The rest takes effect on network ports only.

  virtual EndpointClient client() const { return {}; }
  virtual void DropClient() {}
  virtual void SetRefusal(EndpointRefusal) {}
  // From now on a Read also ends, with 0, when this handle has input.
  virtual void WakeOn(InputHandle) {}
};

// A pseudo terminal; clients open address() as a serial device. E_NOTIMPL where the system has none.
Expected<std::unique_ptr<ByteEndpoint>> OpenPseudoTerminal();

inline constexpr const char* kLoopback = "127.0.0.1";

// A TCP port of the interface with this address or name, one client at a time; port 0 takes a free one. "0.0.0.0" and
// "::" are all interfaces. A client whose machine or cable died is dropped within two seconds.
Expected<std::unique_ptr<ByteEndpoint>> ListenOnTcp(int port, const std::string& host = kLoopback);

}  // namespace ulix::platform

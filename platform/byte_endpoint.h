// The instrument's end of a line: a simulated instrument or a server of a shared line reads and writes it, and a client
// is connected to the other end. One thread uses an endpoint.
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
  std::uint64_t number = 0;  // 1 for the first client, 2 for the next one; 0: no client is connected
  std::string address;       // such as "10.0.0.7:50412"
  bool of_machine = false;   // the client is a program of this machine
};

// The text that is sent to a client which is not served, before its connection is closed. Texts are sent as they are,
// with CR LF after them.
struct EndpointRefusal {
  // Sent while another client is served; the address of that one replaces '%'. Empty: new clients wait for their turn.
  std::string busy;
  // Sent to every new client. Empty: clients are served.
  std::string closed;
};

class ByteEndpoint {
 public:
  virtual ~ByteEndpoint() = default;
  // The address for clients: a device path, or "127.0.0.1:4001" for a network port.
  virtual const std::string& address() const = 0;
  // Stores the bytes that a client sent and returns their count. Waits at most `wait` for the first byte. Returns 0
  // when none came; on Linux a signal also ends the wait. When a client leaves, the next one is served.
  virtual std::size_t Read(std::span<char> bytes, std::chrono::milliseconds wait) = 0;
  // Sends the bytes without waiting. Bytes that the client does not take at once are lost. Without a client all are
  // lost, as on a line with nothing plugged in.
  virtual void Write(std::string_view bytes) = 0;

  // The members below have an effect on network ports only.

  // The client that is served now.
  virtual EndpointClient client() const { return {}; }
  // Closes the connection of that client.
  virtual void DropClient() {}
  // Replaces the texts for clients that are not served. At first both texts are empty.
  virtual void SetRefusal(const EndpointRefusal&) {}
  // From now on a Read also ends, and returns 0, when this handle has input. kNoInput ends that.
  virtual void WakeOn(InputHandle) {}
};

// Makes a pseudo terminal. Clients open address() as a serial device. E_FAIL when the system gives none, E_NOTIMPL on a
// system without pseudo terminals.
Expected<std::unique_ptr<ByteEndpoint>> OpenPseudoTerminal();

inline constexpr const char* kLoopback = "127.0.0.1";

// Listens on a TCP port of the network interface with this address or host name, and serves one client at a time. Port
// 0 takes a free port, which address() then names. "0.0.0.0" and "::" stand for all interfaces. A client whose machine
// or cable failed is dropped within two seconds, where the system can watch connections (Wine cannot). E_INVALIDARG for
// a port outside 0 to 65535; E_FAIL when the name is unknown or the port is in use.
Expected<std::unique_ptr<ByteEndpoint>> ListenOnTcp(int port, const std::string& host = kLoopback);

}  // namespace ulix::platform

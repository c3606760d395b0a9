// TCP connections to a server: the calls of the operating system that the network links need.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/port_binding.h"

namespace ulix::platform {

// An IPv4 address in host byte order.
struct Ipv4Address {
  std::uint32_t bits = 0;
};

// The address that a text stands for: a dotted number, also in its short forms ("10.1", "0x7F.1"), or else a host name,
// of which the first IPv4 address is taken. None for any other text. The call may take as long as the system's resolver
// waits.
std::optional<Ipv4Address> FindHost(const std::string& host);

enum class SocketWait { kReady, kTimedOut, kFailed };

// One TCP socket. The caller lets one thread at a time use it. Signals do not end a wait. Sending to a peer that has
// left raises no signal; the send fails. The destructor closes the connection.
class StreamSocket {
 public:
  virtual ~StreamSocket() = default;
  // Connects to an IPv4 peer. False when the connection failed. `wait` bounds the attempt; without it the system's own
  // limit applies.
  virtual bool Connect(Ipv4Address address, std::uint16_t port, std::optional<std::chrono::milliseconds> wait) = 0;
  // Why the last Connect returned false, as far as known.
  virtual OpenFailure connect_failure() const { return {}; }
  // Wait until bytes can be received, or sent. kTimedOut when `wait` is over first; kFailed for a negative `wait`. The
  // end of the connection also makes a socket readable.
  virtual SocketWait AwaitReadable(std::chrono::milliseconds wait) = 0;
  virtual SocketWait AwaitWritable(std::chrono::milliseconds wait) = 0;
  // Send or receive what is possible without a wait, and return the number of bytes. -1 when there were none;
  // WouldWait() then says whether a later call may succeed. Receive returns 0 when the peer has closed the connection.
  virtual int Send(std::string_view bytes) = 0;
  virtual int Receive(std::span<char> bytes) = 0;
  // Receives like Receive, but waits up to `wait` for the first byte. -1 with WouldWait() when none came.
  virtual int ReceiveWithin(std::span<char> bytes, std::chrono::milliseconds wait) {
    return AwaitReadable(wait) == SocketWait::kFailed ? -1 : Receive(bytes);
  }
  // Tells the peer that no more bytes will be sent. Receiving is still possible.
  virtual void FinishSending() {}
  // Whether the last Send or Receive returned -1 only because it would have had to wait.
  virtual bool WouldWait() const = 0;
};

// A new IPv4 socket, not connected, that sends small messages at once. Null when the system gives none.
std::unique_ptr<StreamSocket> MakeStreamSocket();

struct Connection {
  std::unique_ptr<StreamSocket> socket;  // none when there is no connection
  OpenFailure failure;
};

// Connects to a host by its name or by its IPv4 or IPv6 address. Tries the addresses of the host one after the other,
// each for up to `wait`. When the peer vanishes later, sends and receives fail within two seconds (not under Wine,
// which cannot watch connections).
Connection ConnectToHost(const std::string& host, std::uint16_t port, std::chrono::milliseconds wait);

// The source of a link's sockets: the system, or a simulated instrument in this process.
using SocketMaker = std::function<std::unique_ptr<StreamSocket>()>;

}  // namespace ulix::platform

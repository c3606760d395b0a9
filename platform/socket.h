// TCP clients of the operating system: the calls that the network links need.
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

// The address in a dotted number, also in its short forms ("10.1", "0x7F.1"), else the first IPv4 address of a host
// name. None when the text is neither. The resolution of a name may take as long as the system's resolver waits.
std::optional<Ipv4Address> FindHost(const std::string& host);

enum class SocketWait { kReady, kTimedOut, kFailed };

// One IPv4 socket. The caller lets one thread at a time use it. Signals do not end a wait, and a peer that has left
// raises no signal. The destructor closes the connection.
class StreamSocket {
 public:
  virtual ~StreamSocket() = default;
  // False when the connection failed. `wait` bounds the attempt; without it the system's own limit applies.
  virtual bool Connect(Ipv4Address address, std::uint16_t port, std::optional<std::chrono::milliseconds> wait) = 0;
  // Why the last Connect returned false, if the socket knows.
  virtual OpenFailure connect_failure() const { return {}; }
  // Wait until bytes can be received, or sent. kFailed for a negative `wait`. The end of the connection counts as
  // readable.
  virtual SocketWait AwaitReadable(std::chrono::milliseconds wait) = 0;
  virtual SocketWait AwaitWritable(std::chrono::milliseconds wait) = 0;
  // Return the number of bytes sent, or received, without a wait; -1 when there were none. Receive returns 0 at the end
  // of the connection.
  virtual int Send(std::string_view bytes) = 0;
  virtual int Receive(std::span<char> bytes) = 0;
  // As Receive, waiting at most `wait` for the first byte; -1 with WouldWait() when none came.
  virtual int ReceiveWithin(std::span<char> bytes, std::chrono::milliseconds wait) {
    return AwaitReadable(wait) == SocketWait::kFailed ? -1 : Receive(bytes);
  }
  // Tells the peer that no more bytes follow. Receiving is still possible.
  virtual void FinishSending() {}
  // Whether the last Send or Receive returned -1 only because it would have had to wait.
  virtual bool WouldWait() const = 0;
};

// A socket that sends small writes at once; null when the system gives none.
std::unique_ptr<StreamSocket> MakeStreamSocket();

struct Connection {
  std::unique_ptr<StreamSocket> socket;  // none when there is no connection
  OpenFailure failure;
};

// Connects to a host by its name or its IPv4 or IPv6 address. Tries the addresses of the host one after the other, for
// `wait` each. A peer that vanishes is noticed within two seconds: then sends and receives fail.
Connection ConnectToHost(const std::string& host, std::uint16_t port, std::chrono::milliseconds wait);

// Makes the socket of a link: the system's, or one to a simulated instrument in this process.
using SocketMaker = std::function<std::unique_ptr<StreamSocket>()>;

}  // namespace ulix::platform

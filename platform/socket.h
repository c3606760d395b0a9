// A TCP client socket over IPv4: the few calls that the network links need of the operating system.
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

// In host byte order.
struct Ipv4Address {
  std::uint32_t bits = 0;
};

// A dotted number as the classic address conversion takes it ("10.1" and "0x7F.1" included), else the first IPv4
// address of a host name. None when both fail. Name resolution takes as long as the system's resolver does.
std::optional<Ipv4Address> FindHost(const std::string& host);

enum class SocketWait { kReady, kTimedOut, kFailed };

// One socket, not shared between threads. A signal does not end a wait, a peer that is gone raises none. Destroying it
// closes the connection.
class StreamSocket {
 public:
  virtual ~StreamSocket() = default;
  // Without a `wait` the system's own time for a connection applies. False when there is none.
  virtual bool Connect(Ipv4Address address, std::uint16_t port, std::optional<std::chrono::milliseconds> wait) = 0;
  // Why the last Connect gave false, where the socket knows.
  virtual OpenFailure connect_failure() const { return {}; }
  // A negative `wait` is a failure. An end of the connection counts as readable.
  virtual SocketWait AwaitReadable(std::chrono::milliseconds wait) = 0;
  virtual SocketWait AwaitWritable(std::chrono::milliseconds wait) = 0;
  // Bytes moved without waiting; -1 when none could be. Receive gives 0 at the end of the connection.
  virtual int Send(std::string_view bytes) = 0;
  virtual int Receive(std::span<char> bytes) = 0;
  // Tells the peer that no more is coming; receiving goes on.
  virtual void FinishSending() {}
  // Whether the last Send or Receive that gave -1 did so only because it would have had to wait.
  virtual bool WouldWait() const = 0;
};

// Null when the system gives none. Small writes go out at once.
std::unique_ptr<StreamSocket> MakeStreamSocket();

struct Connection {
  std::unique_ptr<StreamSocket> socket;  // none when there is no connection
  OpenFailure failure;
};

// Connects to a host by its name or address, IPv6 too: its addresses one after the other, `wait` for each. A peer that
// is gone without a word is noticed within two seconds: sends and receives fail then.
Connection ConnectToHost(const std::string& host, std::uint16_t port, std::chrono::milliseconds wait);

// Where a link gets its socket from: the system, or a simulated instrument in this process.
using SocketMaker = std::function<std::unique_ptr<StreamSocket>()>;

}  // namespace ulix::platform

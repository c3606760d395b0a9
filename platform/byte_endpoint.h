// The instrument's end of a line, for simulated instruments. Not thread-safe.
#pragma once

#include <chrono>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "base/result.h"

namespace ulix::platform {

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
};

// A pseudo terminal; clients open address() as a serial device. E_NOTIMPL where the system has none.
Expected<std::unique_ptr<ByteEndpoint>> OpenPseudoTerminal();

// A TCP port of the loopback interface, one client at a time; port 0 takes a free one.
Expected<std::unique_ptr<ByteEndpoint>> ListenOnTcp(int port);

}  // namespace ulix::platform

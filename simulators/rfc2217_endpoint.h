// A served serial line that speaks RFC 2217.
#pragma once

#include <functional>
#include <memory>

#include "platform/byte_endpoint.h"
#include "platform/serial_port.h"

namespace ulix {

// What a client wants of the line; each answers whether it was done.
struct LineControl {
  std::function<bool(const platform::LineSettings& settings)> configure;
  std::function<void(bool input, bool output)> purge;
};

// Speaks telnet with the client of `stream`, which sees the line's bytes alone. Options are answered and never offered,
// so that a client that comes after another finds a server that knows nothing of it. A setting that `control` refuses,
// or that the protocol does not have, is answered with the one in force.
std::unique_ptr<platform::ByteEndpoint> MakeRfc2217Endpoint(std::unique_ptr<platform::ByteEndpoint> stream,
                                                            LineControl control);

}  // namespace ulix

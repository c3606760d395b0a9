// A served serial line with the RFC 2217 protocol.
#pragma once

#include <functional>
#include <memory>

#include "platform/byte_endpoint.h"
#include "platform/serial_port.h"

namespace ulix {

// The line settings that a client requests. Each function returns whether the setting was made.
struct LineControl {
  std::function<bool(const platform::LineSettings& settings)> configure;
  std::function<void(bool input, bool output)> purge;
};

// Wraps `stream` in telnet: the caller reads and writes only the line's bytes. The server answers options and never
// offers any, so that it has no state of an earlier client. A setting that `control` refuses, or that the protocol does
// not have, is answered with the present setting.
std::unique_ptr<platform::ByteEndpoint> MakeRfc2217Endpoint(std::unique_ptr<platform::ByteEndpoint> stream,
                                                            LineControl control);

}  // namespace ulix

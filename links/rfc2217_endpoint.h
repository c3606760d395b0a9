// A served serial line with the RFC 2217 protocol.
#pragma once

#include <functional>
#include <memory>

#include "platform/byte_endpoint.h"
#include "platform/serial_port.h"

namespace ulix {

// The line behind the server. A function that is missing does nothing: its requests succeed.
struct LineControl {
  // Each returns whether the line now is as the client wants it.
  std::function<bool(const platform::LineSettings& settings)> configure;
  std::function<bool(platform::LineSignal signal, bool on)> set_signal;
  std::function<void(bool input, bool output)> purge;
  // None when the line has no inputs.
  std::function<std::optional<platform::ModemInputs>()> modem_inputs;
  // Whether a byte has arrived damaged since the last call.
  std::function<bool()> take_damage;
};

// Wraps `stream` in telnet: the caller reads and writes only the line's bytes. The server answers options and never
// offers any. Every client finds the line settings of `start`, whatever the one before it has set. A setting that
// `control` refuses, or that the line does not have, is answered with the present setting.
//
// A client is told of changes of the line's inputs and, before the next bytes, of damaged ones, as its masks say.
std::unique_ptr<platform::ByteEndpoint> MakeRfc2217Endpoint(std::unique_ptr<platform::ByteEndpoint> stream,
                                                            LineControl control, platform::LineSettings start = {});

}  // namespace ulix

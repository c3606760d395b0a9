// The server's side of the RFC 2217 protocol, which carries a serial line over a network.
#pragma once

#include <functional>
#include <memory>

#include "platform/byte_endpoint.h"
#include "platform/serial_port.h"

namespace ulix {

// The line behind the server. Where a function is empty, requests for it succeed and have no effect.
struct LineControl {
  // configure and set_signal return whether the line is now as the client asked.
  std::function<bool(const platform::LineSettings& settings)> configure;
  std::function<bool(platform::LineSignal signal, bool on)> set_signal;
  // Discards received bytes, and bytes not yet sent.
  std::function<void(bool input, bool output)> purge;
  // The present inputs; none when the line has no such inputs.
  std::function<std::optional<platform::ModemInputs>()> modem_inputs;
  // Whether a damaged byte has arrived since the last call.
  std::function<bool()> take_damage;
};

// Makes an endpoint whose Read and Write carry only the bytes of the line, on a `stream` that also carries the commands
// of the protocol. The endpoint answers the client's options and offers none itself. Each new client starts with the
// settings `start`. When `control` refuses a setting, the client is sent the present one.
//
// The client is told when the line's inputs change, and, before the next bytes, when damaged bytes have arrived. The
// client's masks select these messages. One thread uses the endpoint; `control` is called on it, during Read and Write.
std::unique_ptr<platform::ByteEndpoint> MakeRfc2217Endpoint(std::unique_ptr<platform::ByteEndpoint> stream,
                                                            LineControl control, platform::LineSettings start = {});

}  // namespace ulix

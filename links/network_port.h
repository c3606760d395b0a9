// Serial ports behind a serial port server on the network.
#pragma once

#include <memory>
#include <string>

#include "links/port_url.h"
#include "platform/port_binding.h"

namespace ulix {

// The serial port at a URL; nothing is connected yet. Opening the port connects to the server. With RFC 2217 the server
// must confirm the baud rate, data bits, parity and stop bits; it need not confirm DTR, RTS and flow control. A failure
// to open gives the cause, and the server's own text if it sends one. A server or cable that fails later is noticed
// within two seconds: reads then end with kLinkLost. `location` is what location() returns.
std::shared_ptr<platform::BoundPort> BindNetworkPort(const PortUrl& url, std::string location);

// The same as platform::ResolvePort, except that a location, or the entry of a number in the port map, may also be a
// URL (links/port_url.h). kNoSuchDevice for a malformed URL.
platform::PortResolution ResolveSerialPort(const platform::PortAddress& address);

}  // namespace ulix

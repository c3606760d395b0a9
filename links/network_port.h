// A serial port behind a device server on the network.
#pragma once

#include <memory>
#include <string>

#include "links/port_url.h"
#include "platform/port_binding.h"

namespace ulix {

// The port at a URL: opening it connects to the server. With RFC 2217 every line setting must be confirmed by the
// server; modem lines and flow control need not be. Any failure says why, with the server's own words where it has
// some.
//
// A server or a cable that dies is noticed within two seconds: reads then end with kLinkLost.
std::shared_ptr<platform::BoundPort> BindNetworkPort(const PortUrl& url, std::string location);

// As platform::ResolvePort; a location, or the port map's entry of a number, may be a URL too.
platform::PortResolution ResolveSerialPort(const platform::PortAddress& address);

}  // namespace ulix

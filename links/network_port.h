// A serial port behind a device server on the network.
#pragma once

#include <memory>
#include <string>

#include "links/port_url.h"
#include "platform/port_binding.h"

namespace ulix {

// The serial port at a URL. Opening it connects to the server. With RFC 2217 the server must confirm every line
// setting, but not modem lines and flow control. A failure to open says why, in the server's own words where it gives
// any. A server or a cable that dies is noticed within two seconds: reads then end with kLinkLost.
std::shared_ptr<platform::BoundPort> BindNetworkPort(const PortUrl& url, std::string location);

// The same as platform::ResolvePort, and besides: a location, or the entry of a number in the port map, may be a URL.
platform::PortResolution ResolveSerialPort(const platform::PortAddress& address);

}  // namespace ulix

// One end of a TCP connection: its address, its port, and both as one text.
#pragma once

#include <string>

namespace ulix::platform {

struct EndOfConnection {
  std::string host;  // an IPv4 or IPv6 address, without brackets
  std::string port;  // decimal
};

// "10.0.0.7:50412", "[::1]:4001".
inline std::string TextOfEnd(const EndOfConnection& end) {
  const bool is_ipv6 = end.host.find(':') != std::string::npos;
  return (is_ipv6 ? "[" + end.host + "]" : end.host) + ":" + end.port;
}

}  // namespace ulix::platform

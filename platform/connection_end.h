// One end of a TCP connection, as numbers.
#pragma once

#include <string>

namespace ulix::platform {

struct EndOfConnection {
  std::string host;
  std::string port;
};

// "10.0.0.7:50412", "[::1]:4001".
inline std::string TextOfEnd(const EndOfConnection& end) {
  const bool is_ipv6 = end.host.find(':') != std::string::npos;
  return (is_ipv6 ? "[" + end.host + "]" : end.host) + ":" + end.port;
}

}  // namespace ulix::platform

// The network address of an instrument.
#pragma once

#include <cstdint>
#include <string>

namespace ulix {

struct NetworkAddress {
  std::string host;         // a dotted number or a host name
  std::int32_t port = 502;  // the TCP port; 502 is that of Modbus

  bool operator==(const NetworkAddress&) const = default;
};

}  // namespace ulix

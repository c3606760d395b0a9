// Where an instrument on Ethernet is.
#pragma once

#include <cstdint>
#include <string>

namespace ulix {

struct NetworkAddress {
  std::string host;         // dotted number or host name
  std::int32_t port = 502;  // that of Modbus

  bool operator==(const NetworkAddress&) const = default;
};

}  // namespace ulix

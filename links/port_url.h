// The URL of a serial port on a network.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ulix {

struct PortUrl {
  enum class Protocol { kRaw, kRfc2217 };
  Protocol protocol = Protocol::kRaw;
  std::string host;  // a name, an IPv4 address, or an IPv6 address without its brackets
  std::uint16_t port = 0;
};

// Whether the text is meant as a URL and not as a device path.
bool IsUrl(std::string_view location);

// "tcp://HOST:PORT" (the bytes of the connection are the line's) or "rfc2217://HOST:PORT" (the server is told of line
// settings and purges). An IPv6 address stands in brackets. None for anything else.
std::optional<PortUrl> ParsePortUrl(std::string_view location);

}  // namespace ulix

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

// Whether a location is a URL, well-formed or not, and not a device path.
bool IsUrl(std::string_view location);

// Parses "tcp://HOST:PORT" (the connection carries the bytes of the line only) or "rfc2217://HOST:PORT" (it also
// carries line settings and purges). An IPv6 address stands in brackets: "tcp://[::1]:4001". None for any other text.
std::optional<PortUrl> ParsePortUrl(std::string_view location);

}  // namespace ulix

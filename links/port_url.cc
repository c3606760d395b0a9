#include "links/port_url.h"

#include <charconv>

#include "base/text.h"

namespace ulix {
namespace {

constexpr std::string_view kAuthority = "://";

std::optional<std::uint16_t> TcpPort(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  return whole && port > 0 ? std::optional(port) : std::nullopt;
}

}  // namespace

bool IsUrl(std::string_view location) { return location.find(kAuthority) != std::string_view::npos; }

std::optional<PortUrl> ParsePortUrl(std::string_view location) {
  const std::size_t scheme_end = location.find(kAuthority);
  if (scheme_end == std::string_view::npos) return std::nullopt;
  const std::string_view scheme = location.substr(0, scheme_end);
  std::string_view rest = location.substr(scheme_end + kAuthority.size());
  if (rest.ends_with('/')) rest.remove_suffix(1);
  PortUrl url;
  if (EqualIgnoringCase(scheme, "rfc2217")) {
    url.protocol = PortUrl::Protocol::kRfc2217;
  } else if (!EqualIgnoringCase(scheme, "tcp")) {
    return std::nullopt;
  }
  const std::size_t colon = rest.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  std::string_view host = rest.substr(0, colon);
  const bool bracketed = host.size() > 2 && host.starts_with('[') && host.ends_with(']');
  if (bracketed) host = host.substr(1, host.size() - 2);
  const auto port = TcpPort(rest.substr(colon + 1));
  const bool host_known = !host.empty() && host.find_first_of("[]/@ ") == std::string_view::npos &&
                          (bracketed || host.find(':') == std::string_view::npos);
  if (!port || !host_known) return std::nullopt;
  url.host = host;
  url.port = *port;
  return url;
}

}  // namespace ulix

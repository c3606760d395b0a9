#include "base/numbers.h"
#include "tools/live_page/live_page.h"

namespace ulix {

std::optional<LiveAddress> ParseLiveAddress(const std::string& text) {
  constexpr double kMaxPort = 65535;
  const std::size_t colon = text.rfind(':');
  LiveAddress where{.address = colon == text.npos ? "127.0.0.1" : text.substr(0, colon)};
  if (where.address.size() > 2 && where.address.front() == '[' && where.address.back() == ']') {
    where.address = where.address.substr(1, where.address.size() - 2);
  } else if (where.address.find_first_of(":[]/ ") != text.npos) {
    return std::nullopt;
  }
  const std::string digits = colon == text.npos ? text : text.substr(colon + 1);
  if (where.address.empty() || digits.empty() || digits.find_first_not_of("0123456789") != text.npos)
    return std::nullopt;
  const auto port = ParseDecimal(digits);
  if (!port || *port > kMaxPort) return std::nullopt;
  where.port = static_cast<int>(*port);
  return where;
}

}  // namespace ulix

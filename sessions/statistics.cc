#include "sessions/statistics.h"

#include <utility>

namespace ulix {

std::string TextOf(const SessionStatistics& statistics) {
  const std::pair<const char*, std::uint64_t> counts[] = {
      {"exchanges", statistics.exchanges},
      {"timeouts", statistics.timeouts},
      {"damaged", statistics.damaged},
      {"discarded", statistics.discarded},
      {"resynchronisations", statistics.resynchronisations},
      {"reconnections", statistics.reconnections},
  };
  std::string text;
  for (const auto& [key, count] : counts) {
    text += (text.empty() ? "" : " ") + std::string(key) + "=" + std::to_string(count);
  }
  return text;
}

}  // namespace ulix

// Some tests are short by default and can run longer: ULIX_SOAK_SECONDS=3600 and similar variables set the length.
#pragma once

#include <cstdlib>

namespace ulix {

// The number in the environment variable, or `usual` when it is not set or not above 0.
inline int LongRun(const char* variable, int usual) {
  const char* text = std::getenv(variable);
  const int number = text ? std::atoi(text) : 0;
  return number > 0 ? number : usual;
}

}  // namespace ulix

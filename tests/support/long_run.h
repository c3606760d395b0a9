// Tests that are short by default and can be run for as long as wanted: ULIX_SOAK_SECONDS=3600 and the like.
#pragma once

#include <cstdlib>

namespace ulix {

// The number in the environment variable, or the usual one where it has none above 0.
inline int LongRun(const char* variable, int usual) {
  const char* text = std::getenv(variable);
  const int number = text ? std::atoi(text) : 0;
  return number > 0 ? number : usual;
}

}  // namespace ulix

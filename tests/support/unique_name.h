// Names that no other test uses, in this process or in another one.
#pragma once

#include <random>
#include <string>

namespace ulix {

inline std::string UniqueName(const std::string& start) {
  std::random_device random;
  return start + std::to_string(random()) + "-" + std::to_string(random());
}

}  // namespace ulix

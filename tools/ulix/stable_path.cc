#include "tools/ulix/stable_path.h"

#include <filesystem>

namespace ulix::cli {

std::string StablePathOf(const std::string& device) {
  namespace fs = std::filesystem;
  std::error_code none;
  const fs::path wanted = fs::canonical(device, none);
  if (none) return device;
  for (const auto& entry : fs::directory_iterator("/dev/serial/by-id", none)) {
    std::error_code broken;
    if (fs::canonical(entry.path(), broken) == wanted) return entry.path().string();
  }
  return device;
}

}  // namespace ulix::cli

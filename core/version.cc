#include "core/version.h"

namespace ulix {
std::string VersionParts(std::uint32_t ms, std::uint32_t ls, char between) {
  std::string text = std::to_string(ms >> 16);
  for (const std::uint32_t part : {ms & 0xFFFF, ls >> 16, ls & 0xFFFF}) text += between + std::to_string(part);
  return text;
}

std::uint32_t FileVersionMS() { return (ULIX_VERSION_MAJOR << 16) | ULIX_VERSION_MINOR; }
std::uint32_t FileVersionLS() { return (ULIX_VERSION_PATCH << 16) | ULIX_VERSION_BUILD; }

std::string VersionText() { return VersionParts(FileVersionMS(), FileVersionLS(), '.'); }

}  // namespace ulix

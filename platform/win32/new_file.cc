#include <array>

#include "platform/files.h"
#include "platform/win32/handle.h"

namespace ulix::platform {

// Devices have their names in every folder, and NUL is one: as a path it begins with \\.\ instead of that folder.
bool IsNoFile(const std::string& path) {
  std::array<char, MAX_PATH> whole{};
  const DWORD length = GetFullPathNameA(path.c_str(), whole.size(), whole.data(), nullptr);
  const bool device = length < whole.size() && std::string_view(whole.data()).starts_with(R"(\\.\)");
  const DWORD attributes = GetFileAttributesA(path.c_str());
  return device || (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0);
}

// Who may do what with it the folder says.
bool CreateLike(const std::string&, const std::string& path) {
  const Handle file(CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
  return file.valid();
}

}  // namespace ulix::platform

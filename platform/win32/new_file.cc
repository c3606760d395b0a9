#include <array>

#include "platform/files.h"
#include "platform/win32/handle.h"

namespace ulix::platform {

// Converts with the system's code page; the standard library would only widen each byte.
std::filesystem::path PathOf(const std::string& name) {
  std::wstring wide(name.size(), L'\0');
  const auto size = static_cast<int>(name.size());
  wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, name.data(), size, wide.data(), size)));
  return wide;
}

// Device names such as NUL exist in every folder. Their full path begins with \\.\ instead of the folder.
bool IsNoFile(const std::filesystem::path& path) {
  std::array<wchar_t, MAX_PATH> whole{};
  const DWORD length = GetFullPathNameW(path.c_str(), whole.size(), whole.data(), nullptr);
  const bool device = length < whole.size() && std::wstring_view(whole.data()).starts_with(LR"(\\.\)");
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return device || (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0);
}

// On Windows the folder determines the access rights of a new file.
bool CreateLike(const std::filesystem::path&, const std::filesystem::path& path) {
  const Handle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
  return file.valid();
}

}  // namespace ulix::platform

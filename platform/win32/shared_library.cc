#include "platform/shared_library.h"

#include <windows.h>

namespace ulix::platform {
namespace {

constexpr std::size_t kLongestPath = 32768;

class Loaded final : public SharedLibrary {
 public:
  explicit Loaded(HMODULE module) : module_(module) {}
  ~Loaded() override { FreeLibrary(module_); }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;

  tl::expected<AnyFunction, std::uint32_t> Find(const char* name) const override {
    const FARPROC found = GetProcAddress(module_, name);
    if (!found) return tl::unexpected(static_cast<std::uint32_t>(GetLastError()));
    return reinterpret_cast<AnyFunction>(found);
  }

 private:
  HMODULE module_;
};

}  // namespace

// The system looks for the library's own dependencies in the library's folder first, not in the host's.
tl::expected<std::unique_ptr<SharedLibrary>, std::uint32_t> LoadSharedLibrary(const std::filesystem::path& file) {
  const HMODULE module = LoadLibraryExW(file.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (!module) return tl::unexpected(static_cast<std::uint32_t>(GetLastError()));
  return std::make_unique<Loaded>(module);
}

std::string SharedLibraryFile(std::string_view name) { return std::string(name) + ".dll"; }

tl::expected<std::filesystem::path, std::uint32_t> OwnModuleFolder() {
  constexpr DWORD kOfAddress = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  HMODULE module = nullptr;
  const auto here = reinterpret_cast<LPCWSTR>(&OwnModuleFolder);
  if (!GetModuleHandleExW(kOfAddress, here, &module)) return tl::unexpected(static_cast<std::uint32_t>(GetLastError()));
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0) return tl::unexpected(static_cast<std::uint32_t>(GetLastError()));
    if (length < path.size()) {
      path.resize(length);
      break;
    }
    if (path.size() >= kLongestPath) return tl::unexpected(std::uint32_t{ERROR_PATH_NOT_FOUND});
    path.resize(path.size() * 2);
  }
  const auto cut = path.find_last_of(L'\\');
  if (cut == std::wstring::npos) return tl::unexpected(std::uint32_t{ERROR_PATH_NOT_FOUND});
  return std::filesystem::path(path.substr(0, cut + 1));
}

}  // namespace ulix::platform

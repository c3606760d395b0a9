#include "platform/shared_library.h"

#include <dlfcn.h>
#include <link.h>

#include <system_error>

namespace ulix::platform {
namespace {

constexpr std::uint32_t SystemCode(std::errc code) { return static_cast<std::uint32_t>(code); }

class Loaded final : public SharedLibrary {
 public:
  explicit Loaded(void* handle) : handle_(handle) {}
  ~Loaded() override { dlclose(handle_); }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;

  tl::expected<AnyFunction, std::uint32_t> Find(const char* name) const override {
    void* found = dlsym(handle_, name);
    if (!found) return tl::unexpected(SystemCode(std::errc::function_not_supported));
    return reinterpret_cast<AnyFunction>(found);
  }

 private:
  void* handle_;
};

}  // namespace

// RTLD_LOCAL: the library's functions do not replace those of the program.
tl::expected<std::unique_ptr<SharedLibrary>, std::uint32_t> LoadSharedLibrary(const std::filesystem::path& file) {
  std::error_code failed;
  if (!std::filesystem::is_regular_file(file, failed)) {
    return tl::unexpected(SystemCode(std::errc::no_such_file_or_directory));
  }
  void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) return tl::unexpected(SystemCode(std::errc::executable_format_error));
  return std::make_unique<Loaded>(handle);
}

std::string SharedLibraryFile(std::string_view name) { return "lib" + std::string(name) + ".so"; }

// The loader has the path of a library, and an empty name for the program itself.
tl::expected<std::filesystem::path, std::uint32_t> OwnModuleFolder() {
  Dl_info info{};
  link_map* module = nullptr;
  const auto here = reinterpret_cast<void*>(&OwnModuleFolder);
  if (dladdr1(here, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) == 0) {
    return tl::unexpected(SystemCode(std::errc::no_such_file_or_directory));
  }
  const bool is_program = module->l_name == nullptr || *module->l_name == '\0';
  std::error_code failed;
  const auto file = std::filesystem::canonical(is_program ? "/proc/self/exe" : module->l_name, failed);
  if (failed) return tl::unexpected(static_cast<std::uint32_t>(failed.value()));
  return file.parent_path();
}

}  // namespace ulix::platform

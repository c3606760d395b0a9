// Libraries that are loaded while the program runs, and where the program's own code was loaded from.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

namespace ulix::platform {

using AnyFunction = void (*)();

// One loaded library. The destructor unloads it: no function that was found in it may be called afterwards.
class SharedLibrary {
 public:
  virtual ~SharedLibrary() = default;
  // The function of that name, or the system's error code when the library has none.
  virtual tl::expected<AnyFunction, std::uint32_t> Find(const char* name) const = 0;
};

// The library, or the system's error code when the file does not exist or is no library that this program can load.
tl::expected<std::unique_ptr<SharedLibrary>, std::uint32_t> LoadSharedLibrary(const std::filesystem::path& file);

// The file name of a library on this system: "UlixWinUsb.dll", "libUlixWinUsb.so".
std::string SharedLibraryFile(std::string_view name);

// The folder of the module that this code is in: our library inside a host, or a program. The system's error code when
// it cannot be found.
tl::expected<std::filesystem::path, std::uint32_t> OwnModuleFolder();

}  // namespace ulix::platform

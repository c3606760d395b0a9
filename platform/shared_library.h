// Libraries that are loaded while the program runs, and the folder from which this code itself was loaded.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

namespace ulix::platform {

using AnyFunction = void (*)();

// One loaded library. The destructor unloads it; afterwards no function that was found in it may be called. Any thread
// may use it.
class SharedLibrary {
 public:
  virtual ~SharedLibrary() = default;
  // The exported function of that name, or the system's error code when there is none.
  virtual tl::expected<AnyFunction, std::uint32_t> Find(const char* name) const = 0;
};

// Loads a library. The system's error code when the file does not exist or this program cannot load it.
tl::expected<std::unique_ptr<SharedLibrary>, std::uint32_t> LoadSharedLibrary(const std::filesystem::path& file);

// The file name of a library on this system: "UlixWinUsb.dll", "libUlixWinUsb.so".
std::string SharedLibraryFile(std::string_view name);

// The folder of the file that contains this code: the library inside a host program, or the program itself. The
// system's error code when the folder cannot be found.
tl::expected<std::filesystem::path, std::uint32_t> OwnModuleFolder();

}  // namespace ulix::platform

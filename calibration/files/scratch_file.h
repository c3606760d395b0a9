// A temporary file. The destructor removes it.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>

#include "platform/files.h"

namespace ulix::calibration {

struct ScratchFile {
  std::string path;  // UTF-8

  ~ScratchFile() {
    std::error_code ignored;
    std::filesystem::remove(platform::PathOf(path), ignored);
  }
};

}  // namespace ulix::calibration

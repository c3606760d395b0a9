// A file that is only ever written at its end, by one program at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/files.h"

namespace ulix::platform {

class AppendFile {
 public:
  virtual ~AppendFile() = default;
  // Whether all of it was taken. What was taken before is there when the program dies the moment after.
  virtual bool Append(std::string_view bytes) = 0;
  // Returns when all of it is on the disk; false when that failed.
  virtual bool Sync() = 0;
  // Leaves its first `bytes` alone; what is added goes behind them.
  virtual bool CutTo(std::uint64_t bytes) = 0;
};

enum class AppendMode { kNew, kExisting };
enum class AppendFailure { kExists, kMissing, kInUse, kOther };

struct AppendOpenResult {
  std::unique_ptr<AppendFile> file;  // null when it failed
  AppendFailure failure = AppendFailure::kOther;
};

// kNew: makes the file; kExists where there is one. kInUse while another program has it open this way. Others may read
// it all the while.
AppendOpenResult OpenForAppending(const std::string& path, AppendMode mode);

}  // namespace ulix::platform

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
  // False when not all of it could be written. Bytes that were written stay in the file even if the program is killed
  // right after.
  virtual bool Append(std::string_view bytes) = 0;
  // Returns when all of it is on the disk; false when that failed.
  virtual bool Sync() = 0;
  // Shortens the file to its first `bytes` bytes; false when that failed.
  virtual bool CutTo(std::uint64_t bytes) = 0;
};

enum class AppendMode { kNew, kExisting };
enum class AppendFailure { kExists, kMissing, kInUse, kOther };

struct AppendOpenResult {
  std::unique_ptr<AppendFile> file;  // null when it failed
  AppendFailure failure = AppendFailure::kOther;
};

// kNew creates the file, and fails with kExists if it exists. kExisting fails with kMissing if it does not. kInUse
// while another program has it open in this way. Any program may read it meanwhile.
AppendOpenResult OpenForAppending(const std::string& path, AppendMode mode);

}  // namespace ulix::platform

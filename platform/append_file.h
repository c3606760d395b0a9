// A file that is only written at its end, and by one program at a time. For journals that must survive a crash.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/files.h"

namespace ulix::platform {

// The destructor closes the file, so that another program may open it. Not thread-safe.
class AppendFile {
 public:
  virtual ~AppendFile() = default;
  // Writes the bytes at the end of the file. False when not all of them could be written: a part of them may then be in
  // the file. Written bytes stay in the file even if the program is killed right afterwards, but a power failure may
  // lose them before the next Sync.
  virtual bool Append(std::string_view bytes) = 0;
  // Waits until the whole file is on the disk. False when the system reports a failure.
  virtual bool Sync() = 0;
  // Shortens the file to its first `bytes` bytes; false when that failed.
  virtual bool CutTo(std::uint64_t bytes) = 0;
};

enum class AppendMode { kNew, kExisting };
enum class AppendFailure { kExists, kMissing, kInUse, kOther };

struct AppendOpenResult {
  std::unique_ptr<AppendFile> file;               // null when the file could not be opened
  AppendFailure failure = AppendFailure::kOther;  // has a meaning only without a file
};

// Opens a file for writing at its end. `path` is in the system's narrow encoding. kNew creates the file and fails with
// kExists if it exists already. kExisting fails with kMissing if there is no such file. Both fail with kInUse while
// another program has the file open through this function. Other programs may read the file at any time.
AppendOpenResult OpenForAppending(const std::string& path, AppendMode mode);

}  // namespace ulix::platform

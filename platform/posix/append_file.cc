#include "platform/append_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/posix/file_descriptor.h"
#include "platform/posix/file_lock.h"

namespace ulix::platform {
namespace {

class PosixAppendFile final : public AppendFile {
 public:
  PosixAppendFile(FileDescriptor fd, FileLock lock) : fd_(std::move(fd)), lock_(std::move(lock)) {}

  bool Append(std::string_view bytes) override {
    while (!bytes.empty()) {
      const ssize_t written = write(fd_.get(), bytes.data(), bytes.size());
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
  }
  bool Sync() override { return fsync(fd_.get()) == 0; }
  bool CutTo(std::uint64_t bytes) override { return ftruncate(fd_.get(), static_cast<off_t>(bytes)) == 0; }

 private:
  FileDescriptor fd_;
  FileLock lock_;
};

// A new file survives a power failure only after its folder is on the disk too.
void SyncFolderOf(const std::string& path) {
  const auto folder = std::filesystem::path(path).parent_path();
  const FileDescriptor fd(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.valid()) fsync(fd.get());
}

AppendFailure AppendFailureOf(int error) {
  if (error == EEXIST) return AppendFailure::kExists;
  return error == ENOENT ? AppendFailure::kMissing : AppendFailure::kOther;
}

}  // namespace

AppendOpenResult OpenForAppending(const std::string& path, AppendMode mode) {
  const bool is_new = mode == AppendMode::kNew;
  const int flags = O_WRONLY | O_APPEND | O_CLOEXEC | (is_new ? O_CREAT | O_EXCL : 0);
  FileDescriptor fd(open(path.c_str(), flags, 0666));
  if (!fd.valid()) return {nullptr, AppendFailureOf(errno)};
  FileLock lock(fd.get(), LOCK_EX);
  if (!lock.held()) return {nullptr, errno == EWOULDBLOCK ? AppendFailure::kInUse : AppendFailure::kOther};
  if (is_new) SyncFolderOf(path);
  return {std::make_unique<PosixAppendFile>(std::move(fd), std::move(lock)), AppendFailure::kOther};
}

}  // namespace ulix::platform

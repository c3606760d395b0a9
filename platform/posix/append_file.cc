#include "platform/append_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

namespace ulix::platform {
namespace {

class PosixAppendFile final : public AppendFile {
 public:
  explicit PosixAppendFile(int descriptor) : descriptor_(descriptor) {}
  ~PosixAppendFile() override { close(descriptor_); }

  bool Append(std::string_view bytes) override {
    while (!bytes.empty()) {
      const ssize_t written = write(descriptor_, bytes.data(), bytes.size());
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
  }
  bool Sync() override { return fsync(descriptor_) == 0; }
  bool CutTo(std::uint64_t bytes) override { return ftruncate(descriptor_, static_cast<off_t>(bytes)) == 0; }

 private:
  int descriptor_;
};

// The file's name is on the disk only when its folder is.
void SyncFolderOf(const std::string& path) {
  const auto folder = std::filesystem::path(path).parent_path();
  const int descriptor = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

AppendFailure AppendFailureOf(int error) {
  if (error == EEXIST) return AppendFailure::kExists;
  return error == ENOENT ? AppendFailure::kMissing : AppendFailure::kOther;
}

}  // namespace

AppendOpenResult OpenForAppending(const std::string& path, AppendMode mode) {
  const bool is_new = mode == AppendMode::kNew;
  const int flags = O_WRONLY | O_APPEND | O_CLOEXEC | (is_new ? O_CREAT | O_EXCL : 0);
  const int descriptor = open(path.c_str(), flags, 0666);
  if (descriptor < 0) return {nullptr, AppendFailureOf(errno)};
  auto file = std::make_unique<PosixAppendFile>(descriptor);
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    return {nullptr, errno == EWOULDBLOCK ? AppendFailure::kInUse : AppendFailure::kOther};
  }
  if (is_new) SyncFolderOf(path);
  return {std::move(file), AppendFailure::kOther};
}

}  // namespace ulix::platform

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/files.h"
#include "platform/posix/file_descriptor.h"
#include "platform/posix/file_lock.h"

namespace ulix::platform {
namespace {

class LockedFile final : public InputFile {
 public:
  LockedFile(FileDescriptor fd, FileLock lock) : fd_(std::move(fd)), lock_(std::move(lock)) {}

  int Read(std::span<char> bytes) override {
    std::size_t count = 0;
    while (count < bytes.size()) {
      const ssize_t got = read(fd_.get(), bytes.data() + count, bytes.size() - count);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return -1;
      if (got == 0) break;
      count += static_cast<std::size_t>(got);
    }
    return static_cast<int>(count);
  }

  bool GoTo(std::uint32_t offset) override { return lseek(fd_.get(), offset, SEEK_SET) >= 0; }

 private:
  FileDescriptor fd_;
  FileLock lock_;
};

}  // namespace

// O_NONBLOCK, because opening a pipe would wait for its writer.
std::unique_ptr<InputFile> OpenExcludingWriters(const std::string& path) {
  FileDescriptor fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat about {};
  if (!fd.valid() || fstat(fd.get(), &about) != 0 || !S_ISREG(about.st_mode)) return nullptr;
  FileLock lock(fd.get(), LOCK_SH);
  if (!lock.held()) return nullptr;
  return std::make_unique<LockedFile>(std::move(fd), std::move(lock));
}

}  // namespace ulix::platform

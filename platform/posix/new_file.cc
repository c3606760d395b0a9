#include <fcntl.h>
#include <sys/stat.h>

#include "platform/files.h"
#include "platform/posix/file_descriptor.h"

namespace ulix::platform {

std::filesystem::path PathOf(const std::string& name) { return name; }

bool IsNoFile(const std::filesystem::path& path) {
  struct stat about {};
  return stat(path.c_str(), &about) == 0 && !S_ISREG(about.st_mode);
}

bool CreateLike(const std::filesystem::path& original, const std::filesystem::path& path) {
  constexpr mode_t kPermissions = 0777;
  struct stat about {};
  const bool there = stat(original.c_str(), &about) == 0;
  const mode_t mode = there ? about.st_mode & kPermissions : 0666;
  const FileDescriptor fd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
  if (!fd.valid() || !there) return fd.valid();
  // Failures are ignored: a user may not be allowed to change the owner, and some file systems have one mode for all
  // files.
  [[maybe_unused]] const bool given = fchown(fd.get(), about.st_uid, about.st_gid) == 0;
  [[maybe_unused]] const bool as_was = fchmod(fd.get(), mode) == 0;
  return true;
}

}  // namespace ulix::platform

// An advisory lock on an open file. Only one opener of the file can have an exclusive lock.
#pragma once

#include <sys/file.h>
#include <unistd.h>

#include <utility>

namespace ulix::platform {

// The kernel keeps the lock while any process has the descriptor open, which includes a child after a fork. So the
// process that took the lock releases it before it closes the descriptor. A child releases nothing.
class FileLock {
 public:
  // Tries to take the lock, without a wait. `kind` is LOCK_EX or LOCK_SH. If held() is false, `errno` says why. The
  // descriptor must stay open as long as this object lives.
  FileLock(int fd, int kind) : fd_(flock(fd, kind | LOCK_NB) == 0 ? fd : -1), process_(getpid()) {}
  FileLock(FileLock&& other) noexcept : fd_(std::exchange(other.fd_, -1)), process_(other.process_) {}
  FileLock& operator=(FileLock&&) = delete;
  ~FileLock() {
    if (held() && is_of_this_process()) flock(fd_, LOCK_UN);
  }

  bool held() const { return fd_ >= 0; }
  bool is_of_this_process() const { return process_ == getpid(); }

 private:
  int fd_;
  pid_t process_;
};

}  // namespace ulix::platform

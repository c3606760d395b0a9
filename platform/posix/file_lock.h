// An advisory lock on an open file, which no other opener of the file can have at the same time.
#pragma once

#include <sys/file.h>
#include <unistd.h>

#include <utility>

namespace ulix::platform {

// The kernel keeps the lock while any process has the descriptor open. A child of a fork has it too, so the process
// that took the lock gives it back by itself, before it closes the descriptor. A child gives nothing back.
class FileLock {
 public:
  // Tries to take the lock, without waiting. `kind` is LOCK_EX or LOCK_SH. `errno` says why it is not held. The
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

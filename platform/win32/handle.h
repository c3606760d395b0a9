// A kernel object's handle with one owner.
#pragma once

#include <windows.h>

#include <utility>

namespace ulix::platform {

// Some calls return null for "no handle", others INVALID_HANDLE_VALUE; this class treats both as no handle.
class Handle {
 public:
  Handle() = default;
  explicit Handle(HANDLE handle) : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Handle() {
    if (handle_) CloseHandle(handle_);
  }
  HANDLE get() const { return handle_; }
  bool valid() const { return handle_ != nullptr; }

 private:
  HANDLE handle_ = nullptr;
};

}  // namespace ulix::platform

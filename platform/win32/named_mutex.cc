#include "platform/named_mutex.h"

#include <windows.h>

#include <algorithm>

#include "platform/win32/handle.h"

namespace ulix::platform {
namespace {

// A mutex made by a program with more rights grants us no more than to wait for it.
Handle OpenMutexNamed(const char* name) {
  Handle mutex(CreateMutexA(nullptr, FALSE, name));
  return mutex.valid() ? std::move(mutex) : Handle(OpenMutexA(SYNCHRONIZE, FALSE, name));
}

}  // namespace

class NamedMutex::Shared {
 public:
  explicit Shared(const std::string& name) : mutex_(OpenMutexNamed(name.c_str())) {}
  HANDLE handle() const { return mutex_.get(); }

 private:
  Handle mutex_;
};

NamedMutex::NamedMutex(const std::string& name) : shared_(std::make_shared<Shared>(name)) {}
NamedMutex::~NamedMutex() = default;

bool NamedMutex::LockFor(std::chrono::milliseconds wait) {
  const auto ms = static_cast<DWORD>(std::clamp<std::int64_t>(wait.count(), 0, INFINITE - 1));
  const DWORD got = shared_->handle() ? WaitForSingleObject(shared_->handle(), ms) : WAIT_FAILED;
  return got == WAIT_OBJECT_0 || got == WAIT_ABANDONED;
}

void NamedMutex::Unlock() { ReleaseMutex(shared_->handle()); }

}  // namespace ulix::platform

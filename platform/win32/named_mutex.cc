#include "platform/named_mutex.h"

#include <windows.h>

#include <algorithm>

#include "platform/win32/handle.h"

namespace ulix::platform {
namespace {

// If a program with more rights has made the mutex, this program may only wait for it and release it.
Handle OpenMutexNamed(const char* name) {
  Handle mutex(CreateMutexA(nullptr, FALSE, name));
  return mutex.valid() ? std::move(mutex) : Handle(OpenMutexA(SYNCHRONIZE, FALSE, name));
}

}  // namespace

class NamedMutex::Shared {
 public:
  explicit Shared(const std::string& name)
      : name_(name), mutex_(OpenMutexNamed(name.c_str())), error_(mutex_.valid() ? ERROR_SUCCESS : GetLastError()) {}
  HANDLE handle() const { return mutex_.get(); }

  LockProblem Explain(bool timed_out) const {
    using enum LockProblem::Cause;
    const LockProblem::Cause why = error_ == ERROR_ACCESS_DENIED ? kNoPermission
                                   : error_ == ERROR_INVALID_HANDLE
                                       ? kForeign  // an object of another kind has the name
                                       : kSystem;
    return {.cause = timed_out ? kHeld : why, .object = "mutex " + name_, .os_error = error_};
  }

 private:
  const std::string name_;
  Handle mutex_;
  const DWORD error_;
};

NamedMutex::NamedMutex(const std::string& name) : shared_(std::make_shared<Shared>(name)) {}
NamedMutex::~NamedMutex() = default;

bool NamedMutex::LockFor(std::chrono::milliseconds wait, LockProblem* problem) {
  const auto ms = static_cast<DWORD>(std::clamp<std::int64_t>(wait.count(), 0, INFINITE - 1));
  const DWORD got = shared_->handle() ? WaitForSingleObject(shared_->handle(), ms) : WAIT_FAILED;
  const bool locked = got == WAIT_OBJECT_0 || got == WAIT_ABANDONED;
  if (!locked && problem) *problem = shared_->Explain(got == WAIT_TIMEOUT);
  return locked;
}

void NamedMutex::Unlock() { ReleaseMutex(shared_->handle()); }

// The system removes a mutex together with its last handle.
void RemoveNamedMutex(const std::string&) {}

}  // namespace ulix::platform

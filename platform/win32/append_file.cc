#include "platform/append_file.h"

#include <windows.h>

namespace ulix::platform {
namespace {

class Win32AppendFile final : public AppendFile {
 public:
  explicit Win32AppendFile(HANDLE handle) : handle_(handle) {}
  ~Win32AppendFile() override { CloseHandle(handle_); }

  bool Append(std::string_view bytes) override {
    while (!bytes.empty()) {
      DWORD written = 0;
      if (!WriteFile(handle_, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) return false;
      if (written == 0) return false;
      bytes.remove_prefix(written);
    }
    return true;
  }
  bool Sync() override { return FlushFileBuffers(handle_) != 0; }
  bool CutTo(std::uint64_t bytes) override {
    LARGE_INTEGER place;
    place.QuadPart = static_cast<LONGLONG>(bytes);
    return SetFilePointerEx(handle_, place, nullptr, FILE_BEGIN) && SetEndOfFile(handle_);
  }

 private:
  HANDLE handle_;
};

AppendFailure FailureOf(DWORD error) {
  if (error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS) return AppendFailure::kExists;
  if (error == ERROR_SHARING_VIOLATION) return AppendFailure::kInUse;
  const bool missing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
  return missing ? AppendFailure::kMissing : AppendFailure::kOther;
}

}  // namespace

AppendOpenResult OpenForAppending(const std::string& path, AppendMode mode) {
  const bool is_new = mode == AppendMode::kNew;
  // Other programs may read the file meanwhile, but not write it.
  const HANDLE handle = CreateFileW(PathOf(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                    is_new ? CREATE_NEW : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return {nullptr, FailureOf(GetLastError())};
  LARGE_INTEGER end{};
  if (!is_new) SetFilePointerEx(handle, end, nullptr, FILE_END);
  return {std::make_unique<Win32AppendFile>(handle), AppendFailure::kOther};
}

}  // namespace ulix::platform

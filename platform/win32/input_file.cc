#include "platform/files.h"
#include "platform/win32/handle.h"

namespace ulix::platform {
namespace {

class SharedFile final : public InputFile {
 public:
  explicit SharedFile(Handle file) : file_(std::move(file)) {}

  int Read(std::span<char> bytes) override {
    DWORD count = 0;
    const BOOL read = ReadFile(file_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    return read ? static_cast<int>(count) : -1;
  }

  bool GoTo(std::uint32_t offset) override {
    LARGE_INTEGER place{};
    place.QuadPart = offset;
    return SetFilePointerEx(file_.get(), place, nullptr, FILE_BEGIN) != FALSE;
  }

 private:
  Handle file_;
};

}  // namespace

std::unique_ptr<InputFile> OpenExcludingWriters(const std::string& path) {
  Handle file(
      CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file.valid() || GetFileType(file.get()) != FILE_TYPE_DISK) return nullptr;
  return std::make_unique<SharedFile>(std::move(file));
}

}  // namespace ulix::platform

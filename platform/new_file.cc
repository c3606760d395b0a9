#include <filesystem>

#include "platform/files.h"

namespace ulix::platform {

NewFile::NewFile(const std::string& path)
    : path_(path), file_(Beside(path), std::ios::binary | std::ios::trunc), created_(file_.is_open()) {}

NewFile::~NewFile() {
  file_.close();
  std::error_code ignored;
  if (created_) std::filesystem::remove(Beside(path_), ignored);
}

bool NewFile::Write(std::string_view bytes) {
  return static_cast<bool>(file_.write(bytes.data(), static_cast<std::streamsize>(bytes.size())));
}

bool NewFile::Commit() {
  file_.close();
  std::error_code failed;
  if (file_) std::filesystem::rename(Beside(path_), path_, failed);
  if (!file_ || failed) return false;
  created_ = false;
  return true;
}

}  // namespace ulix::platform

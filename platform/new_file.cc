#include <array>
#include <cstdio>
#include <filesystem>
#include <random>

#include "platform/files.h"

namespace ulix::platform {
namespace {

namespace fs = std::filesystem;

// Follows symbolic links, also to a target that does not exist yet.
fs::path LinksFollowed(fs::path path) {
  constexpr int kMaxLinks = 40;  // more links form a circle
  std::error_code failed;
  for (int followed = 0; followed < kMaxLinks && fs::is_symlink(path, failed); ++followed) {
    path = path.parent_path() / fs::read_symlink(path, failed);
  }
  return path;
}

fs::path RandomName(fs::path path) {
  std::array<char, 16> suffix{};
  std::snprintf(suffix.data(), suffix.size(), ".%08x.new", std::random_device()());
  return path += suffix.data();
}

}  // namespace

NewFile::NewFile(const std::string& path) : path_(PathOf(path)), replaces_(!IsNoFile(path_)) {
  if (!replaces_) return;
  path_ = LinksFollowed(path_);
  if (CreateBeside()) {
    file_.open(beside_, std::ios::binary | std::ios::trunc);
  } else {
    file_.setstate(std::ios::failbit);
  }
}

NewFile::~NewFile() {
  file_.close();
  std::error_code ignored;
  if (!beside_.empty()) fs::remove(beside_, ignored);
}

// Another program may use a name already; then the next random name is tried.
bool NewFile::CreateBeside() {
  constexpr int kMaxNames = 10;
  for (int tried = 0; tried < kMaxNames && beside_.empty(); ++tried) {
    const fs::path name = RandomName(path_);
    if (CreateLike(path_, name)) beside_ = name;
  }
  return !beside_.empty();
}

bool NewFile::Write(std::string_view bytes) {
  if (!replaces_) return kept_ += bytes, true;
  return static_cast<bool>(file_.write(bytes.data(), static_cast<std::streamsize>(bytes.size())));
}

bool NewFile::Commit() {
  if (!replaces_) return HandOver();
  file_.close();
  std::error_code failed;
  if (file_) fs::rename(beside_, path_, failed);
  if (!file_ || failed) return false;
  beside_.clear();
  return true;
}

bool NewFile::HandOver() {
  file_.open(path_, std::ios::binary);
  file_ << kept_;
  file_.close();
  return static_cast<bool>(file_);
}

}  // namespace ulix::platform

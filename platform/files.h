// Files that other programs see whole or not at all.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace ulix::platform {

// An ordinary file that is open for reading and cannot be written meanwhile. Where the system's locks are voluntary,
// only programs that ask for the lock are kept out.
class InputFile {
 public:
  virtual ~InputFile() = default;
  // Returns the number of bytes read, fewer than asked for only at the end of the file; -1 when it cannot be read.
  virtual int Read(std::span<char> bytes) = 0;
  // Continues at this offset, in bytes; false when that failed.
  virtual bool GoTo(std::uint32_t offset) = 0;
};

// Null when there is no such file, when it is no ordinary file, or while another program writes it.
std::unique_ptr<InputFile> OpenExcludingWriters(const std::string& path);

// A name in the system's narrow encoding as a path.
std::filesystem::path PathOf(const std::string& name);

// Whether something with this path exists that is no ordinary file: a folder, a pipe, a device.
bool IsNoFile(const std::filesystem::path& path);

// Creates an empty file; false when that failed or when the path exists already. If `original` exists, the new file has
// its mode, and its owner where the system allows that.
bool CreateLike(const std::filesystem::path& original, const std::filesystem::path& path);

// A file that is written under another name in the same folder ("NAME.a1b2c3d4.new") and renamed by Commit. Without
// Commit the file that has the name stays as it was, and the destructor removes what was written. If the name is a
// symbolic link, the file that it leads to is replaced and the link stays. A pipe or a device is not replaced: Commit
// writes everything to it at once.
class NewFile {
 public:
  explicit NewFile(const std::string& path);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // Whether no operation failed so far.
  bool good() const { return !replaces_ || static_cast<bool>(file_); }
  bool Write(std::string_view bytes);
  bool Commit();

 private:
  bool CreateBeside();
  bool HandOver();

  std::filesystem::path path_;    // of what is written in the end, links followed
  bool replaces_ = true;          // false where IsNoFile
  std::filesystem::path beside_;  // empty while there is none
  std::ofstream file_;
  std::string kept_;  // for what is no file
};

}  // namespace ulix::platform

// Files that are read while nobody writes them, and files that other programs see either whole or not at all.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace ulix::platform {

// An ordinary file that is open for reading. No program can write it meanwhile. On Linux this holds only for programs
// that also lock the file, because its locks are voluntary. The destructor closes the file.
class InputFile {
 public:
  virtual ~InputFile() = default;
  // Fills `bytes` and returns the number of bytes read. The number is smaller than asked for only at the end of the
  // file. -1 when the file cannot be read.
  virtual int Read(std::span<char> bytes) = 0;
  // Moves the next Read to this offset from the start, in bytes. False when the system refuses.
  virtual bool GoTo(std::uint32_t offset) = 0;
};

// Opens a file for reading. Null when there is no such file, when it is not an ordinary file, or while another program
// writes it.
std::unique_ptr<InputFile> OpenExcludingWriters(const std::string& path);

// A name in the system's narrow encoding as a path.
std::filesystem::path PathOf(const std::string& name);

// Whether something other than an ordinary file has this path: a folder, a pipe or a device. False when nothing has it.
bool IsNoFile(const std::filesystem::path& path);

// Creates an empty file. False when the path exists already or the file cannot be created. On Linux, if `original`
// exists, the new file gets its mode, and its owner where the system allows it.
bool CreateLike(const std::filesystem::path& original, const std::filesystem::path& path);

// A file that replaces another one as a whole. It is written under another name in the same folder
// ("NAME.a1b2c3d4.new"), and Commit renames it to `path`. Without Commit the old file stays as it was, and the
// destructor removes the new one. If `path` is a symbolic link, the link stays and the file behind it is replaced. A
// pipe or a device cannot be replaced: Write then only collects the bytes, and Commit writes them to it. Not
// thread-safe.
class NewFile {
 public:
  explicit NewFile(const std::string& path);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // Whether no operation has failed yet. False right after construction when the new file could not be created.
  bool good() const { return !replaces_ || static_cast<bool>(file_); }
  // Both return false when the system refuses.
  bool Write(std::string_view bytes);
  bool Commit();

 private:
  bool CreateBeside();
  bool HandOver();

  std::filesystem::path path_;    // of the file to replace, links followed
  bool replaces_ = true;          // false for a pipe or a device
  std::filesystem::path beside_;  // the new file; empty while there is none
  std::ofstream file_;
  std::string kept_;  // the bytes for a pipe or a device
};

}  // namespace ulix::platform

// Files of which nobody else may see or make half.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace ulix::platform {

// An ordinary file that is read while other writers are kept out; on systems where that is voluntary, those that ask.
class InputFile {
 public:
  virtual ~InputFile() = default;
  // Bytes read, fewer than asked for only at the end; -1 when it cannot be read.
  virtual int Read(std::span<char> bytes) = 0;
  // Goes on at this offset; false when that cannot be done.
  virtual bool GoTo(std::uint32_t offset) = 0;
};

// Null when there is no such file, it is no ordinary one, or a writer has it.
std::unique_ptr<InputFile> OpenExcludingWriters(const std::string& path);

// A file's name, in the system's narrow encoding, as a path.
std::filesystem::path PathOf(const std::string& name);

// Whether the name is that of a folder, a pipe, a device: of something that is there and is no ordinary file.
bool IsNoFile(const std::filesystem::path& path);

// Makes an empty file where there is none of any kind; false when that cannot be done. Its mode, and its owner where
// the system lets us, are those of `original`, if there is one.
bool CreateLike(const std::filesystem::path& original, const std::filesystem::path& path);

// A file written beside its name ("NAME.a1b2c3d4.new") and put in place when whole. Until then, and if it never comes
// to that, the file that had the name stays as it was and nothing is left behind. A link stays one: what it leads to is
// replaced. What is there but is no file, such as a pipe or a device, is kept and gets all of it at once.
class NewFile {
 public:
  explicit NewFile(const std::string& path);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // Whether all went well so far.
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

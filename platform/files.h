// Files of which nobody else may see or make half.
#pragma once

#include <cstdint>
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

// A file written beside its name ("NAME.new") and put in place when whole. Until then, and if it never comes to that,
// the file that had the name stays as it was and nothing is left behind.
class NewFile {
 public:
  explicit NewFile(const std::string& path);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // Whether all went well so far.
  bool good() const { return static_cast<bool>(file_); }
  bool Write(std::string_view bytes);
  bool Commit();

  static std::string Beside(const std::string& path) { return path + ".new"; }

 private:
  std::string path_;
  std::ofstream file_;
  bool created_ = false;
};

}  // namespace ulix::platform

// What an instrument with a program of its own offers: the program between the instrument and a file.
#pragma once

#include <cstdint>
#include <string>

#include "base/result.h"
#include "base/text.h"
#include "drivers/progress.h"

namespace ulix {

// How a person is asked for a program file.
struct ProgramFileKind {
  LocalizedText title;  // of the question
  LocalizedText files;  // what such files are called
  const char* pattern;
  const char* setting;  // key of the setting that keeps the file last selected
};

// Paths are the system's. Each code is one of the model's card or of its link.
class ProgramTransfer {
 public:
  virtual ~ProgramTransfer() = default;
  virtual const ProgramFileKind& file_kind() const = 0;
  // Whether a file chosen by a person is one of the model's, by its first bytes.
  virtual HRESULT Check(const std::string& path) = 0;
  // How many records a file has, if all of it can be sent.
  virtual Expected<std::uint32_t> CountRecords(const std::string& path) = 0;
  // The file into the instrument. Nothing is sent of a file that is not whole and right.
  virtual HRESULT Send(const std::string& path, const Progress& progress) = 0;
  // The instrument's program into the file, which is put in place only when whole.
  virtual HRESULT Read(const std::string& path, const Progress& progress) = 0;
};

}  // namespace ulix

// The transfer of an instrument's program between the instrument and a file.
#pragma once

#include <cstdint>
#include <string>

#include "base/result.h"
#include "base/text.h"
#include "drivers/progress.h"

namespace ulix {

// The texts with which a person is asked for a program file.
struct ProgramFileKind {
  LocalizedText title;  // title of the dialog
  LocalizedText files;  // the name of such files
  const char* pattern;  // "*.p90"
  const char* setting;  // key of the setting that holds the file selected last
};

// Paths are in the system's encoding. Errors: codes of the model and of its link. Send and Read return kCancelled when
// `progress` asks to stop.
class ProgramTransfer {
 public:
  virtual ~ProgramTransfer() = default;
  virtual const ProgramFileKind& file_kind() const = 0;
  // Whether the file is a program of this model, as its first bytes say: S_OK, or the model's code.
  virtual HRESULT Check(const std::string& path) = 0;
  // The number of records in a file. Fails if any part of the file could not be sent.
  virtual Expected<std::uint32_t> CountRecords(const std::string& path) = 0;
  // Sends the file to the instrument. If the file is incomplete or wrong, nothing is sent.
  virtual HRESULT Send(const std::string& path, const Progress& progress) = 0;
  // Reads the instrument's program into the file. The file is replaced only after the whole program was read.
  virtual HRESULT Read(const std::string& path, const Progress& progress) = 0;
};

}  // namespace ulix

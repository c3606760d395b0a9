// Program files "*.p90".
#pragma once

#include <memory>
#include <string>

#include "base/result.h"
#include "drivers/loggers/memolog/program_model.h"
#include "platform/files.h"

namespace ulix::memolog {

// A file that is sent to a logger, read record by record.
class ProgramFile {
 public:
  // memologCtlErrOpenFile, also while somebody writes it; memologCtlErrInvalidProgFile for a head that no program file
  // has.
  static Expected<ProgramFile> Open(const std::string& path);
  // memologCtlErrInvalidProgFile for a record that is too long or cut short. Goes back to the first record.
  Expected<std::uint32_t> CountRecords();
  // Empty at the end.
  Expected<ProgramRecord> Next();

 private:
  explicit ProgramFile(std::unique_ptr<platform::InputFile> file) : file_(std::move(file)) {}
  std::unique_ptr<platform::InputFile> file_;
};

// Whether a file that a person chose is a logger's, by what stands at the start of its identification. Another check
// than that of a file to be sent, on purpose: that one takes any file of the maker's.
HRESULT CheckChosenFile(const std::string& path);

// The 512 bytes before the records.
std::string ProgramFileHead(const std::string& identification);
// One record with its length before it.
std::string ProgramFileRecord(const ProgramRecord& record);

}  // namespace ulix::memolog

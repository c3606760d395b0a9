// Program files "*.p90".
#pragma once

#include <memory>
#include <string>

#include "base/result.h"
#include "drivers/loggers/memolog/program_model.h"
#include "platform/files.h"

namespace ulix::memolog {

// A program file that is read record by record, to be sent to a logger.
class ProgramFile {
 public:
  // memologCtlErrOpenFile if the file cannot be opened, or while another program writes it.
  // memologCtlErrInvalidProgFile if its head is not that of a program file.
  static Expected<ProgramFile> Open(const std::string& path);
  // Counts the records, then goes back to the first one. memologCtlErrInvalidProgFile for a record that is too long or
  // incomplete.
  Expected<std::uint32_t> CountRecords();
  // The next record; empty at the end of the file.
  Expected<ProgramRecord> Next();

 private:
  explicit ProgramFile(std::unique_ptr<platform::InputFile> file) : file_(std::move(file)) {}
  std::unique_ptr<platform::InputFile> file_;
};

// Whether a file that a person chose is a program of a Memolog, as the start of its identification says. Deliberate:
// this check is stricter than that of Open, which accepts program files of all the maker's loggers.
HRESULT CheckChosenFile(const std::string& path);

// The head of a file: 512 bytes before the records.
std::string ProgramFileHead(const std::string& identification);
// One record, preceded by its length.
std::string ProgramFileRecord(const ProgramRecord& record);

}  // namespace ulix::memolog

// Transfers of the logger's program from a file and into a file.
#include <algorithm>
#include <set>
#include <utility>

#include "drivers/loggers/memolog/long_operation.h"
#include "drivers/loggers/memolog/program_file.h"
#include "drivers/loggers/memolog/tables.h"

namespace ulix::memolog {
namespace {

// Reports the last step of an operation, and returns its result.
HRESULT Ended(const Progress& progress, const ulix::LocalizedText& title, HRESULT result,
              const ulix::LocalizedText& done, const ulix::LocalizedText& failed) {
  progress({100, title, Failed(result) ? failed : done, {}});
  return result;
}

}  // namespace

const ProgramFileKind& MemologDriver::file_kind() const { return kProgramFileKind; }

HRESULT MemologDriver::Check(const std::string& path) { return CheckChosenFile(path); }

Expected<std::uint32_t> MemologDriver::CountRecords(const std::string& path) {
  auto file = ProgramFile::Open(path);
  return file ? file->CountRecords() : Failure(file.error());
}

HRESULT MemologDriver::Send(const std::string& path, const Progress& progress) {
  return Ended(progress, kSendTitle, SendFile(path, progress), kSent, kNotSent);
}

// The whole file is checked before anything is sent.
HRESULT MemologDriver::SendFile(const std::string& path, const Progress& progress) {
  const LongOperation operation(busy_);
  if (!operation.begun()) return memologCtlErrMemLocked;
  auto file = ProgramFile::Open(path);
  if (!file) return file.error();
  const auto records = file->CountRecords();
  if (!records) return records.error();
  const LongOperation sending(sending_);
  ForgetProgram();
  HRESULT result = Initialise();
  if (Succeeded(result)) result = Tell(kEnterProgramMode, EnterProgramModeData());
  if (Succeeded(result)) result = SendProgram(*file, *records, progress);
  const HRESULT left = Tell(kLeaveProgramMode, {});
  return Failed(result) ? result : left;
}

HRESULT MemologDriver::SendProgram(ProgramFile& file, std::uint32_t records, const Progress& progress) {
  for (std::uint32_t sent = 1; sent <= records; ++sent) {
    const auto record = file.Next();
    if (!record) return record.error();
    if (const HRESULT result = Tell(kWriteRecord, *record); Failed(result)) return result;
    if (!progress({PercentOf(sent, records), kSendTitle, kRecordOf, {sent, records}}) && sent < records)
      return kCancelled;
  }
  return S_OK;
}

Expected<ProgramRecord> MemologDriver::ReadRecord(Command command, const Words& data) {
  auto reply = Ask(command, data, kFrameHead);
  if (!reply) return reply;
  const std::size_t length = std::min<std::size_t>((*reply)[1], kMaxRecordWords);
  return ProgramRecord(reply->begin() + kFrameHead, reply->begin() + static_cast<std::ptrdiff_t>(kFrameHead + length));
}

// The program ends at the first record of length 0. The count of records that the logger reports is used for the
// progress only. The logger finds the next record by the first two words of the record before, so a repeated record
// would lead to an endless read, and is an error. If the logger is reconnected or gets another program meanwhile, the
// read fails.
Expected<MemologDriver::ProgramPointer> MemologDriver::ReadRecords(const TakeRecord& take) {
  constexpr std::size_t kCountAt = 2;
  unsigned forgotten = 0;
  const auto counted = Ask(kCountRecords, {}, kCountAt + 1, &forgotten);
  if (!counted) return Failure(counted.error());
  auto program = std::make_shared<Program>();
  const std::uint32_t count = (*counted)[kCountAt];
  auto record = ReadRecord(kFirstRecord, {});
  const bool known = record && HasKnownLayout(*record);
  std::set<ProgramRecord> heads;
  bool ends = true;
  while (record && !record->empty() && ends) {
    if (known) AddRecord(*record, *program);
    const auto number = static_cast<std::uint32_t>(heads.size() + 1);
    if (const HRESULT result = take(*record, number, std::max(count, number)); Failed(result)) return Failure(result);
    record->resize(2);
    ends = heads.insert(*record).second;
    if (ends) record = ReadRecord(kNextRecord, *record);
  }
  if (!record) return Failure(record.error());
  const std::lock_guard lock(program_mutex_);
  if (!ends || forgotten != forgotten_) return Failure(link().codes().unread);
  return program_ = std::move(program);
}

HRESULT MemologDriver::Read(const std::string& path, const Progress& progress) {
  return Ended(progress, kReadTitle, ReadFile(path, progress), kReRead, kNotCreated);
}

HRESULT MemologDriver::ReadFile(const std::string& path, const Progress& progress) {
  const LongOperation operation(busy_);
  if (!operation.begun()) return memologCtlErrMemLocked;
  platform::NewFile file(path);
  if (!file.good()) return memologCtlErrOpenFile;
  const auto identification = Identify();
  if (!identification) return identification.error();
  file.Write(ProgramFileHead(*identification));
  const auto program =
      ReadRecords([&](const ProgramRecord& record, std::uint32_t number, std::uint32_t count) -> HRESULT {
        if (!file.Write(ProgramFileRecord(record))) return memologCtlErrOpenFile;
        return progress({PercentOf(number, count), kReadTitle, kRecordOf, {number, count}}) ? S_OK : kCancelled;
      });
  if (!program) return program.error();
  return file.Commit() ? HRESULT{S_OK} : memologCtlErrOpenFile;
}

}  // namespace ulix::memolog

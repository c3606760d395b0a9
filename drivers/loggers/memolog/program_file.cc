#include "drivers/loggers/memolog/program_file.h"

#include <array>

#include "base/text.h"
#include "drivers/loggers/memolog/protocol.h"

namespace ulix::memolog {
namespace {

// Offset  0      9                  89              102            512
//         zeros  identification, 0  PROGRAM FILE 0  zeros          records: length, words ...; length 0 or the end
constexpr std::size_t kHeadSize = 512;
constexpr std::size_t kIdentificationAt = 9;
constexpr std::size_t kIdentificationSize = 80;
constexpr std::size_t kMarkAt = 89;
constexpr std::string_view kMark = "PROGRAM FILE";

// The text of a field, up to its first zero byte.
std::string_view FieldOf(std::string_view head, std::size_t at, std::size_t size) {
  const std::string_view field = head.substr(at, size);
  return field.substr(0, field.find('\0'));
}

std::string_view IdentificationIn(std::string_view head) {
  return FieldOf(head, kIdentificationAt, kIdentificationSize);
}

HRESULT ReadHead(platform::InputFile* file, std::string& head) {
  head.resize(kHeadSize);
  const int count = file ? file->Read(head) : -1;
  if (count < 0) return memologCtlErrOpenFile;
  return static_cast<std::size_t>(count) == kHeadSize ? S_OK : memologCtlErrInvalidProgFile;
}

}  // namespace

Expected<ProgramFile> ProgramFile::Open(const std::string& path) {
  ProgramFile opened(platform::OpenExcludingWriters(path));
  std::string head;
  if (const HRESULT result = ReadHead(opened.file_.get(), head); Failed(result)) return Failure(result);
  const bool known = IdentificationIn(head).find("ULIX") != std::string_view::npos &&
                     EqualIgnoringCase(FieldOf(head, kMarkAt, kMark.size() + 1), kMark);
  if (!known) return Failure(memologCtlErrInvalidProgFile);
  return opened;
}

Expected<ProgramRecord> ProgramFile::Next() {
  std::array<char, 2> length{};
  const int count = file_->Read(length);
  if (count < 0) return Failure(memologCtlErrOpenFile);
  if (count < 2) return ProgramRecord();  // the end, or a single byte, which is not a length
  const std::size_t words = WordsOf({length.data(), length.size()}).front();
  if (words > kMaxRecordWords) return Failure(memologCtlErrInvalidProgFile);
  std::string bytes(words * 2, '\0');
  if (file_->Read(bytes) != static_cast<int>(bytes.size())) return Failure(memologCtlErrInvalidProgFile);
  return WordsOf(bytes);
}

Expected<std::uint32_t> ProgramFile::CountRecords() {
  std::uint32_t records = 0;
  auto record = Next();
  for (; record && !record->empty(); record = Next()) ++records;
  if (!record) return Failure(record.error());
  if (!file_->GoTo(kHeadSize)) return Failure(memologCtlErrOpenFile);
  return records;
}

HRESULT CheckChosenFile(const std::string& path) {
  const auto file = platform::OpenExcludingWriters(path);
  std::string head;
  if (const HRESULT result = ReadHead(file.get(), head); Failed(result)) return result;
  const std::string_view identification = IdentificationIn(head);
  const bool known = identification.starts_with("ULIX,MEMOLOG") || identification.starts_with("ULIX,LOGIMEM");
  return known ? S_OK : memologCtlErrInvalidProgFile;
}

std::string ProgramFileHead(const std::string& identification) {
  std::string head(kHeadSize, '\0');
  const std::string kept = identification.substr(0, kIdentificationSize - 1);
  head.replace(kIdentificationAt, kept.size(), kept);
  head.replace(kMarkAt, kMark.size(), kMark);
  return head;
}

std::string ProgramFileRecord(const ProgramRecord& record) {
  const std::array length = {static_cast<std::uint16_t>(record.size())};
  return BytesOf(length) + BytesOf(record);
}

}  // namespace ulix::memolog

// Any bytes as a logger's program file. It is checked, counted and sent to a simulated logger, as a user would do.
#include <sys/mman.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "core/instrument.h"
#include "drivers/catalogue.h"
#include "drivers/loggers/memolog/program_file.h"
#include "drivers/loggers/memolog/protocol.h"
#include "fuzz/require.h"
#include "simulators/in_process_port.h"
#include "simulators/memolog.h"
#include "tests/support/manual_clock.h"

namespace ulix {
namespace {

// A temporary file without a name in any folder.
class BytesFile {
 public:
  explicit BytesFile(std::string_view bytes) : fd_(memfd_create("program", 0)) {
    Require(write(fd_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "the bytes are there");
  }
  ~BytesFile() { close(fd_); }
  BytesFile(const BytesFile&) = delete;
  BytesFile& operator=(const BytesFile&) = delete;
  std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

 private:
  int fd_;
};

constexpr std::size_t kHead = 512;

// The file must hold, after its head, each record with its length before it.
void CheckRecords(const std::string& path, std::string_view bytes) {
  auto file = memolog::ProgramFile::Open(path);
  if (!file) return;
  const auto count = file->CountRecords();
  if (!count) return Require(count.error() == memologCtlErrInvalidProgFile, "a file that is none says so");
  std::string again(bytes.substr(0, kHead));
  for (std::uint32_t i = 0; i < *count; ++i) {
    const auto record = file->Next();
    Require(record && !record->empty() && record->size() <= memolog::kMaxRecordWords, "all that were counted come");
    again += memolog::ProgramFileRecord(*record);
  }
  Require(bytes.starts_with(again), "and are what the file holds");
}

void CheckSending(const std::string& path) {
  ManualClock clock(ManualClock::Mode::kAutomatic);
  const auto bench = std::make_shared<SimulatedBench>(std::make_unique<MemologSimulator>(clock), clock);
  const auto programming = [&] {
    return bench->WithSimulator([](Simulator& s) { return dynamic_cast<MemologSimulator&>(s).in_program_mode(); });
  };
  DriverServices services;
  services.clock = &clock;
  services.resolve_port = ResolverOf(bench);
  Instrument device(FindModel("memolog")->create(services), {.clock = &clock});
  std::uint32_t records = 0;
  const HRESULT checked = device.CheckProgram(path, &records);
  const HRESULT sent = device.SendProgram(path);
  Require(Failed(checked) || Succeeded(sent), "what passes the check is sent");
  Require(!programming(), "the logger is left as it is used");
  if (Succeeded(sent)) Require(Succeeded(device.Connect()), "and is there again");
  std::vector<std::uint32_t> blocks;
  if (Succeeded(sent)) device.MemBlocks(&blocks);
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = ulix::TextOfInput(data, size);
  const ulix::BytesFile file(bytes);
  ulix::CheckRecords(file.path(), bytes);
  ulix::CheckSending(file.path());
  return 0;
}

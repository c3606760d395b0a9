// The driver of Memolog data loggers: identification, programs from files, readings and recorded memory.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "drivers/driver.h"
#include "drivers/loggers/memolog/mailbox.h"
#include "drivers/loggers/memolog/program_model.h"
#include "platform/mutex.h"

namespace ulix::memolog {

// A long operation (the transfer of a program, the read of a memory block) holds the exchange lock for each frame and
// releases it between frames. So no lock is held while the host is told of the progress. A second long operation at the
// same time fails with memologCtlErrMemLocked.
class MemologDriver final : public Driver, public RecordedMemory, public ProgramTransfer {
 public:
  explicit MemologDriver(const DriverServices& services);

  // memologCtlErrNotMemolog for another instrument.
  Expected<std::string> Identify() override;
  Expected<std::string> DeviceVersion() override;
  // Reads the logger's program, which describes the channels.
  HRESULT ReadCfg() override { return CodeOf(LoadProgram()); }
  // memologCtlErrChNum for a channel that the program does not have.
  Reading ReadChannel(ChannelId id) override;

  // From the logger's program, if it is known.
  std::string ChannelName(ChannelId id) const override;
  ChannelTraits DescribeChannel(ChannelId id) const override;

  Expected<std::vector<std::uint32_t>> Blocks() override;
  Expected<std::uint32_t> BlockSize(std::uint32_t block) override;
  Expected<MemBlockCycle> CyclePeriod(std::uint32_t block) override;
  bool HasBlocks() const override;
  Expected<MemBlockStatus> Status(std::uint32_t block) override;
  Expected<MemBlockRead> Read(std::uint32_t block, std::uint32_t max_records, const TakeRecords& take,
                              const Progress& progress) override;
  HRESULT Clear(std::uint32_t block, std::uint32_t count) override;

  const ProgramFileKind& file_kind() const override;
  HRESULT Check(const std::string& path) override;
  Expected<std::uint32_t> CountRecords(const std::string& path) override;
  HRESULT Send(const std::string& path, const Progress& progress) override;
  HRESULT Read(const std::string& path, const Progress& progress) override;

 private:
  using ProgramPointer = std::shared_ptr<const Program>;
  class LongOperation;
  struct BlockReading;

  Expected<bool> StartSession(Conversation& talk) override;
  std::uint8_t Slave() const;

  template <typename Body>
  auto OnLogger(Body&& body);
  // Called within an exchange.
  static Expected<std::string> AskIdentification(Conversation& talk);
  // Each of these makes one exchange with one operation of the mailbox.
  Expected<std::string> AskText(std::string_view command);
  HRESULT Tell(Command command, const Words& data);
  // `forgotten` gets TimesForgotten() at the time of the reply. While it stays the same, all parts of a read come from
  // the same logger.
  Expected<Words> Ask(Command command, const Words& data, std::size_t at_once, unsigned* forgotten = nullptr);
  Expected<std::uint16_t> ReadRegister(std::uint16_t address);
  HRESULT WriteRegister(std::uint16_t address, std::uint16_t value);

  // The logger's program. If it is not known yet and the link is open, it is read from the logger.
  Expected<ProgramPointer> KnownProgram();
  ProgramPointer CachedProgram() const;
  // Forgets the program. A read in progress is not stored at its end either.
  void ForgetProgram();
  Expected<ProgramPointer> LoadProgram();
  unsigned TimesForgotten() const;
  static const ChannelRecord* ChannelOf(const ProgramPointer& program, ChannelId id);
  // Reads the records of the logger's program, and calls `take` with each, until `take` fails or the program ends. At
  // the end the program is stored as the known one.
  using TakeRecord = std::function<HRESULT(const ProgramRecord& record, std::uint32_t number, std::uint32_t count)>;
  Expected<ProgramPointer> ReadRecords(const TakeRecord& take);
  Expected<ProgramRecord> ReadRecord(Command command, const Words& data);

  HRESULT SendFile(const std::string& path, const Progress& progress);
  HRESULT SendProgram(class ProgramFile& file, std::uint32_t records, const Progress& progress);
  HRESULT Initialise();
  HRESULT ReadFile(const std::string& path, const Progress& progress);
  HRESULT ReadFrozen(BlockReading& reading);
  HRESULT ReadNewest(BlockReading& reading);

  mutable platform::Mutex program_mutex_;
  ProgramPointer program_;             // guarded by program_mutex_; null while not known
  unsigned forgotten_ = 0;             // how often the program was forgotten; guarded by program_mutex_
  std::atomic<bool> busy_ = false;     // whether a long operation is in progress
  std::atomic<bool> sending_ = false;  // whether a program is being sent; other queries then fail
};

}  // namespace ulix::memolog

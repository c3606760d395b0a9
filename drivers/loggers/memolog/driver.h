// Memolog data loggers: identified, programmed from a file, read out.
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

// Long operations (a program, a block of memory) hold the exchange lock for each frame and not in between, so that no
// lock is held while a host is told of the progress. A second one meanwhile is memologCtlErrMemLocked.
class MemologDriver final : public Driver, public RecordedMemory, public ProgramTransfer {
 public:
  explicit MemologDriver(const DriverServices& services);

  // memologCtlErrNotMemolog for another instrument.
  Expected<std::string> Identify() override;
  Expected<std::string> DeviceVersion() override;
  // The logger's program, into what is known of the channels.
  HRESULT ReadCfg() override { return CodeOf(LoadProgram()); }
  // memologCtlErrChNum for a channel that the program does not have.
  Reading ReadChannel(ChannelId id) override;

  // From the program, as far as it is known.
  std::string ChannelName(ChannelId id) const override;
  ChannelTraits DescribeChannel(ChannelId id) const override;

  Expected<std::vector<std::uint32_t>> Blocks() override;
  Expected<std::uint32_t> BlockSize(std::uint32_t block) override;
  Expected<MemBlockCycle> CyclePeriod(std::uint32_t block) override;
  bool HasBlocks() const override;
  Expected<MemBlockStatus> Status(std::uint32_t block) override;
  Expected<MemBlockRead> Read(std::uint32_t block, std::uint32_t most, const TakeRecords& take,
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
  // With the conversation of an exchange.
  static Expected<std::string> AskIdentification(Conversation& talk);
  // Exchanges of one mailbox operation each.
  Expected<std::string> AskText(std::string_view command);
  HRESULT Tell(Command command, const Words& data);
  // `forgotten`: TimesForgotten() at the reply, by which parts of one read are known to be of the same logger.
  Expected<Words> Ask(Command command, const Words& data, std::size_t at_once, unsigned* forgotten = nullptr);
  Expected<std::uint16_t> ReadRegister(std::uint16_t address);
  HRESULT WriteRegister(std::uint16_t address, std::uint16_t value);

  // The program as it is known: read from the logger when the link is open and none is known yet.
  Expected<ProgramPointer> KnownProgram();
  ProgramPointer CachedProgram() const;
  // What is being read of it is not remembered either.
  void ForgetProgram();
  Expected<ProgramPointer> LoadProgram();
  unsigned TimesForgotten() const;
  static const ChannelRecord* ChannelOf(const ProgramPointer& program, ChannelId id);
  // Every record of the logger's program in turn, until `take` fails or the program ends. It is the program known then.
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
  unsigned forgotten_ = 0;             // so many times; guarded by program_mutex_
  std::atomic<bool> busy_ = false;     // with a long operation
  std::atomic<bool> sending_ = false;  // a program: nothing is asked for in between
};

}  // namespace ulix::memolog

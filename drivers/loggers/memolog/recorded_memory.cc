// The logger's memory blocks.
#include <algorithm>

#include "drivers/loggers/memolog/long_operation.h"
#include "drivers/loggers/memolog/tables.h"
#include "drivers/loggers/record_decoder.h"
#include "drivers/loggers/record_memory.h"

namespace ulix::memolog {

using record_memory::kLockRegister;
using record_memory::kRecordsPerRead;

namespace {

constexpr std::size_t kBlockStateReply = 8;

}  // namespace

// The state of a read of a block.
struct MemologDriver::BlockReading {
  std::uint32_t block;
  std::uint32_t count = 0;  // records to read
  BlockState state;
  const TakeRecords& take;
  const Progress& progress;
  bool cancelled = false;
  unsigned forgotten = 0;  // TimesForgotten() when the read began
  RecordDecoder decoder{};
  ChannelArrays records{};

  HRESULT Take(std::string_view bytes) {
    records.clear();
    decoder.Decode(bytes, records);
    return take(records);
  }
};

Expected<std::vector<std::uint32_t>> MemologDriver::Blocks() {
  return KnownProgram().map([](const ProgramPointer& program) {
    std::vector<std::uint32_t> blocks;
    for (const auto& [block, size] : program->blocks) blocks.push_back(block);
    return blocks;
  });
}

bool MemologDriver::HasBlocks() const {
  const auto program = CachedProgram();
  return program && !program->blocks.empty();
}

Expected<std::uint32_t> MemologDriver::BlockSize(std::uint32_t block) {
  return KnownProgram().map([=](const ProgramPointer& program) {
    const auto found = program->blocks.find(block);
    return found == program->blocks.end() ? 0U : std::uint32_t{found->second};
  });
}

Expected<MemBlockCycle> MemologDriver::CyclePeriod(std::uint32_t block) {
  return KnownProgram().map([=](const ProgramPointer& program) { return CycleOf(*program, block); });
}

// A connected logger is assumed to be running.
Expected<MemBlockStatus> MemologDriver::Status(std::uint32_t block) {
  const auto reply = Ask(kMemoryBlock, BlockStateData(block), kBlockStateReply);
  if (!reply) return Failure(reply.error());
  // Asked after Ask, because its exchange may have reconnected to a logger with another program.
  const auto size = BlockSize(block);
  if (!size) return Failure(size.error());
  const auto state = ParseBlockState(*reply);
  if (!state) return Failure(link().codes().unread);
  return MemBlockStatus{*size, state->held, state->recording};
}

Expected<MemBlockRead> MemologDriver::Read(std::uint32_t block, std::uint32_t max_records, const TakeRecords& take,
                                           const Progress& progress) {
  BlockReading reading{.block = block, .state = {}, .take = take, .progress = progress};
  reading.count = max_records;
  const LongOperation operation(busy_);
  const HRESULT result = operation.begun() ? ReadFrozen(reading) : memologCtlErrMemLocked;
  progress({100, kReadingTitle, kReadingEnds, {}});
  if (Failed(result)) return Failure(result);
  return MemBlockRead{reading.state.held, reading.cancelled};
}

// Whatever happens after the block may be frozen, the block is released and the lock register gets its earlier value.
HRESULT MemologDriver::ReadFrozen(BlockReading& reading) {
  const auto reply = Ask(kMemoryBlock, BlockStateData(reading.block), kBlockStateReply, &reading.forgotten);
  if (!reply) return reply.error();
  const auto state = ParseBlockState(*reply);
  if (!state) return link().codes().unread;
  reading.state = *state;
  if (reading.count == 0 || reading.count > state->held) reading.count = state->held;
  const auto lock = ReadRegister(kLockRegister);
  if (!lock) return lock.error();
  if (*lock > 1) return memologCtlErrMemLocked;
  HRESULT result = S_OK;
  const auto keep_first = [&](HRESULT next) { result = Failed(result) ? result : next; };
  const bool freeze = !state->freezes_itself;
  if (freeze) keep_first(Tell(kMemoryBlock, FreezeData(reading.block, state->recording, true)));
  if (Succeeded(result)) keep_first(ReadNewest(reading));
  if (freeze) keep_first(Tell(kMemoryBlock, FreezeData(reading.block, state->recording, false)));
  keep_first(WriteRegister(kLockRegister, *lock));
  return result;
}

HRESULT MemologDriver::ReadNewest(BlockReading& reading) {
  const std::uint32_t first = reading.state.held - reading.count + 1;
  const std::uint32_t parts = (reading.count + kRecordsPerRead - 1) / kRecordsPerRead;
  for (std::uint32_t done = 0; done < reading.count;) {
    // Before the exchange, so that the user can also stop the first one.
    const int percent = PercentOf(done, reading.count);
    reading.cancelled = !reading.progress({percent, kReadingTitle, kReadingBlock, {1 + done / kRecordsPerRead, parts}});
    if (reading.cancelled) return S_OK;
    const std::uint32_t count = std::min<std::uint32_t>(kRecordsPerRead, reading.count - done);
    const Words request = ReadRecordsData(reading.block, first + done, count);
    unsigned forgotten = 0;
    const auto reply = Ask(kMemoryBlock, request, ReadRecordsReply(count), &forgotten);
    if (!reply) return reply.error();
    const auto records = RecordsIn(*reply, request);
    // After a reconnection the logger may have other records.
    if (!records || reading.forgotten != forgotten) return link().codes().unread;
    if (const HRESULT result = reading.Take(BytesOf(*records)); Failed(result)) return result;
    done += count;
  }
  return S_OK;
}

HRESULT MemologDriver::Clear(std::uint32_t block, std::uint32_t count) {
  return Tell(kMemoryBlock, ClearData(block, count));
}

}  // namespace ulix::memolog

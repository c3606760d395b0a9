// The recorded memory of a logger, in blocks.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "base/result.h"
#include "drivers/channel_arrays.h"
#include "drivers/progress.h"

namespace ulix {

// Block ids go from 0 to this number.
inline constexpr std::uint32_t kLastMemBlock = 99;

struct MemBlockStatus {
  std::uint32_t size = 0;     // capacity in records, as programmed
  std::uint32_t records = 0;  // content, in records
  bool recording = false;
};

// What one acquisition cycle writes into a block. Zeros when not known.
struct MemBlockCycle {
  std::uint32_t records = 0;  // per cycle
  std::uint32_t period = 0;   // of a cycle, in the unit of the program's measuring times
};

struct MemBlockRead {
  std::uint32_t held = 0;  // records in the block when the read began
  bool cancelled = false;
};

// Receives the next records, oldest first. A failure stops the read. Called on the reading thread with no lock held;
// `records` is reused after the call.
using TakeRecords = std::function<HRESULT(const ChannelArrays& records)>;

// Errors: codes of the model and of its link. Block ids must be between 0 and kLastMemBlock.
class RecordedMemory {
 public:
  virtual ~RecordedMemory() = default;

  // These three take their results from the logger's program. If the program is not known yet and the link is open,
  // they read it from the logger. Without a program there are no blocks.
  virtual Expected<std::vector<std::uint32_t>> Blocks() = 0;
  virtual Expected<std::uint32_t> BlockSize(std::uint32_t block) = 0;
  virtual Expected<MemBlockCycle> CyclePeriod(std::uint32_t block) = 0;
  // Whether the program has blocks, as far as known. Sends nothing.
  virtual bool HasBlocks() const = 0;

  virtual Expected<MemBlockStatus> Status(std::uint32_t block) = 0;
  // Reads the newest records, at most `max_records` of them; 0 reads all. Releases the logger's memory also after a
  // failure or a stop.
  virtual Expected<MemBlockRead> Read(std::uint32_t block, std::uint32_t max_records, const TakeRecords& take,
                                      const Progress& progress) = 0;
  // Clears the `count` oldest records. 0, or more than there are, clears all.
  virtual HRESULT Clear(std::uint32_t block, std::uint32_t count) = 0;
};

}  // namespace ulix

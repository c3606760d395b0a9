// What a logger with recorded memory blocks offers.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "base/result.h"
#include "drivers/channel_arrays.h"
#include "drivers/progress.h"

namespace ulix {

// Blocks have ids from 0 to this.
inline constexpr std::uint32_t kLastMemBlock = 99;

struct MemBlockStatus {
  std::uint32_t size = 0;  // as programmed
  std::uint32_t records = 0;
  bool recording = false;
};

// What one cycle of acquisition leaves in a block; zeros when that cannot be said.
struct MemBlockCycle {
  std::uint32_t records = 0;
  std::uint32_t period = 0;
};

struct MemBlockRead {
  std::uint32_t held = 0;  // records in the block when the read began
  bool cancelled = false;
};

// The next stored measurements, oldest first. A failure stops the read. Called with no lock held; `records` is reused
// after the call.
using TakeRecords = std::function<HRESULT(const ChannelArrays& records)>;

// Ids are known to be in range.
class RecordedMemory {
 public:
  virtual ~RecordedMemory() = default;

  // From the logger's program, which is asked for when the link is open and the program is not known yet; without
  // either there are no blocks.
  virtual Expected<std::vector<std::uint32_t>> Blocks() = 0;
  virtual Expected<std::uint32_t> BlockSize(std::uint32_t block) = 0;
  virtual Expected<MemBlockCycle> CyclePeriod(std::uint32_t block) = 0;
  // Whether the program, as far as it is known, has any.
  virtual bool HasBlocks() const = 0;

  virtual Expected<MemBlockStatus> Status(std::uint32_t block) = 0;
  // The newest records, at most `most` of them; all for 0. Frees whatever it holds of the logger also when it fails or
  // is asked to stop.
  virtual Expected<MemBlockRead> Read(std::uint32_t block, std::uint32_t most, const TakeRecords& take,
                                      const Progress& progress) = 0;
  // The `count` oldest records; all for 0, and for more than there are.
  virtual HRESULT Clear(std::uint32_t block, std::uint32_t count) = 0;
};

}  // namespace ulix

// The content of a logger's program: channels, sequences and memory blocks.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "drivers/driver.h"

namespace ulix::memolog {

// One record of a program, as it is sent and read: 1 to 196 words.
using ProgramRecord = std::vector<std::uint16_t>;

inline constexpr ChannelId kChannelCount = 2000;

struct LimitDescriptor {
  std::uint8_t flags = 0;
  float value = 0.0F;
};

struct ChannelRecord {
  std::string name;  // up to 8 characters; empty: the default name
  std::uint8_t type = 0;
  std::string unit;
  int resolution = kUnknownResolution;
  std::array<LimitDescriptor, 2> limits;
  std::uint32_t measuring_time = 0;             // in the unit of the cycle period
  std::optional<std::uint16_t> value_register;  // first of the two registers of the present value
};

// An acquisition sequence: which channels it measures, when, and into which block.
struct Sequence {
  std::uint16_t block = 0;  // counted from 1; 0: no block
  std::uint8_t mode = 0;
  std::uint32_t period = 0;
  std::vector<std::int16_t> channels;  // from 1; ends at 0; -k: all from the previous entry + 1 to k
};

struct Program {
  std::map<std::uint32_t, std::uint16_t> blocks;  // sizes of the programmed blocks, by block id
  std::vector<Sequence> sequences;
  std::map<ChannelId, ChannelRecord> channels;  // the programmed channels
};

// TO BE COMPLETED for a real logger: the layout of its program's records is not known. So far there is one layout, that
// of the simulated logger's program (docs/instruments/memolog.md). To add another layout, complete these two functions;
// nothing else changes.

// Whether the layout of a program is known, as its first record says. A program with an unknown layout is treated as
// one without channels and blocks, because values from guessed registers would be wrong.
bool HasKnownLayout(const ProgramRecord& first);
// Adds the content of one record of a program with a known layout. Ignores a record of an unknown kind.
void AddRecord(const ProgramRecord& record, Program& program);

// The first record of the simulated logger's program. No other program begins with it.
ProgramRecord SimulatedProgramMark();

// Whether a programmed channel is in the list of channels: category 7 with sub-type 1 or 2, and category 0 with any
// sub-type except 2.
bool IsListed(const ChannelRecord& channel);

ChannelLimit LimitOf(const LimitDescriptor& limit);

// The cycle of the sequence that records into the block. Zeros if no sequence or several sequences do.
MemBlockCycle CycleOf(const Program& program, std::uint32_t block);

}  // namespace ulix::memolog

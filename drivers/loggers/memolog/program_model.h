// What a logger's program says of its channels, sequences and memory blocks.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "drivers/driver.h"

namespace ulix::memolog {

// One record of a program, as it is sent and read back: 1 to 196 words.
using ProgramRecord = std::vector<std::uint16_t>;

inline constexpr ChannelId kChannelCount = 2000;

struct LimitDescriptor {
  std::uint8_t flags = 0;
  float value = 0.0F;
};

struct ChannelRecord {
  std::string name;  // at most 8 characters; empty for the default name
  std::uint8_t type = 0;
  std::string unit;
  int resolution = kUnknownResolution;
  std::array<LimitDescriptor, 2> limits;
  std::uint32_t measuring_time = 0;             // in the unit of the cycle period
  std::optional<std::uint16_t> value_register;  // first of the two that hold the present value
};

// An acquisition sequence: which channels it measures, when, and into which block.
struct Sequence {
  std::uint16_t block = 0;  // from 1; 0: into none
  std::uint8_t mode = 0;
  std::uint32_t period = 0;
  std::vector<std::int16_t> channels;  // from 1, up to the first 0; -k stands for all from the entry before it + 1 to k
};

struct Program {
  std::map<std::uint32_t, std::uint16_t> blocks;  // sizes by block id; programmed ones only
  std::vector<Sequence> sequences;
  std::map<ChannelId, ChannelRecord> channels;  // programmed ones only
};

// THE PLACE TO COMPLETE for a real logger: how a program's records are laid out is not known. There is one layout so
// far, that of the simulated logger's program (docs/instruments/memolog.md). Whoever knows another completes these two
// functions; nothing else changes.

// Whether the layout of a program is known, by its first record. Nothing is taken from another program: it has neither
// channels nor blocks, since values from guessed registers would be wrong ones.
bool HasKnownLayout(const ProgramRecord& first);
// Adds what one record of such a program says. A record that says nothing known is passed over.
void AddRecord(const ProgramRecord& record, Program& program);

// The record that the simulated logger's program begins with, and no other program.
ProgramRecord SimulatedProgramMark();

// Whether a programmed channel belongs to the class that the channel list is made of: category 7 with sub-types 1 and
// 2, category 0 with any sub-type but 2.
bool IsListed(const ChannelRecord& channel);

ChannelLimit LimitOf(const LimitDescriptor& limit);

// From the one sequence that feeds the block; zeros when none or two do.
MemBlockCycle CycleOf(const Program& program, std::uint32_t block);

}  // namespace ulix::memolog

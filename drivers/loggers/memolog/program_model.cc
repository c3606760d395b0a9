#include "drivers/loggers/memolog/program_model.h"

#include <algorithm>
#include <bit>

#include "drivers/common_texts.h"
#include "drivers/loggers/memolog/protocol.h"

namespace ulix::memolog {
namespace {

std::uint8_t LowByte(std::uint16_t word) { return static_cast<std::uint8_t>(word & 0xFFU); }
std::uint8_t HighByte(std::uint16_t word) { return static_cast<std::uint8_t>(word >> 8U); }
std::uint32_t TwoWords(std::uint16_t low, std::uint16_t high) { return std::uint32_t{high} << 16U | low; }

// The simulated logger's program. Word 0 of a record is its kind, word 1 its number:
//
//   kind 1, mark:      0             | "ULIX SIMULATED LOGGER, LAYOUT 1"; the first record
//   kind 2, block:     number 1..100 | size
//   kind 3, sequence:  number        | block | mode | period, 2 words | channels ... 0
//   kind 4, channel:   number 1..2000 | name, 4 words | type, unit << 8 | resolution | 2 limits of 5 words |
//                      measuring time, 2 words | register of the present value, 0 for none
//   limit:             flags | value as a float, 2 words | 2 words not used
//
// Low words and low bytes come first. Records of other kinds are ignored.
LimitDescriptor LimitIn(const ProgramRecord& record, std::size_t at) {
  return {LowByte(record[at]), std::bit_cast<float>(TwoWords(record[at + 1], record[at + 2]))};
}

Sequence SequenceIn(const ProgramRecord& record) {
  Sequence sequence{record[2], LowByte(record[3]), TwoWords(record[4], record[5]), {}};
  const auto end = std::find(record.begin() + 6, record.end(), 0);
  sequence.channels.assign(record.begin() + 6, end);
  return sequence;
}

ChannelRecord ChannelIn(const ProgramRecord& record) {
  static constexpr std::array kUnits = {"", "V", "mV", "mA", "Ohm", kCelsiusText, "%", "bar"};
  ChannelRecord channel;
  channel.name = BytesOf(std::span(record).subspan(2, 4));
  channel.name.resize(std::min(channel.name.find('\0'), channel.name.size()));
  channel.type = LowByte(record[6]);
  const std::size_t unit = HighByte(record[6]);
  channel.unit = unit < kUnits.size() ? kUnits[unit] : "";
  channel.resolution = std::min<int>(record[7], kUnknownResolution);
  for (std::size_t i = 0; i < channel.limits.size(); ++i) channel.limits[i] = LimitIn(record, 8 + 5 * i);
  channel.measuring_time = TwoWords(record[18], record[19]);
  if (record[20] != 0) channel.value_register = record[20];
  return channel;
}

// Calls `take` with the first and the last channel of each entry of a sequence's list.
template <typename Take>
void ForEachRun(const Sequence& sequence, Take&& take) {
  std::int32_t before = 0;
  for (const std::int32_t entry : sequence.channels) {
    take(entry < 0 ? before + 1 : entry, std::abs(entry));
    before = std::abs(entry);
  }
}

std::uint32_t MeasuringTime(const Program& program, std::int32_t first, std::int32_t last) {
  std::uint32_t sum = 0;
  for (auto channel = program.channels.lower_bound(static_cast<ChannelId>(first - 1));
       channel != program.channels.end() && channel->first < static_cast<ChannelId>(last); ++channel) {
    sum += channel->second.measuring_time;
  }
  return sum;
}

}  // namespace

bool HasKnownLayout(const ProgramRecord& first) { return first == SimulatedProgramMark(); }

void AddRecord(const ProgramRecord& record, Program& program) {
  constexpr std::uint16_t kBlock = 2;
  constexpr std::uint16_t kSequence = 3;
  constexpr std::uint16_t kChannel = 4;
  if (record.size() < 3) return;
  const std::uint16_t number = record[1];
  if (record[0] == kBlock && number >= 1 && number <= kLastMemBlock + 1 && record[2] != 0) {
    program.blocks[number - 1U] = record[2];
  } else if (record[0] == kSequence && record.size() >= 6) {
    program.sequences.push_back(SequenceIn(record));
  } else if (record[0] == kChannel && number >= 1 && number <= kChannelCount && record.size() >= 21) {
    program.channels[number - 1U] = ChannelIn(record);
  }
}

ProgramRecord SimulatedProgramMark() {
  constexpr std::uint16_t kMark = 1;
  ProgramRecord record = {kMark, 0};
  const Words text = WordsOf("ULIX SIMULATED LOGGER, LAYOUT 1\n");
  record.insert(record.end(), text.begin(), text.end());
  return record;
}

bool IsListed(const ChannelRecord& channel) {
  const int category = channel.type >> 5;
  const int sub_type = channel.type & 7;
  return category == 0 ? sub_type != 2 : category == 7 && (sub_type == 1 || sub_type == 2);
}

ChannelLimit LimitOf(const LimitDescriptor& limit) {
  constexpr unsigned kProgrammed = 1;
  constexpr unsigned kSuppressed = 4;
  constexpr unsigned kHigh = 8;
  if ((limit.flags & (kProgrammed | kSuppressed)) != kProgrammed) return {};
  return {limit.value, (limit.flags & kHigh) != 0 ? LimitHigh : LimitLow};
}

MemBlockCycle CycleOf(const Program& program, std::uint32_t block) {
  constexpr unsigned kTimesPeriod = 2;
  constexpr unsigned kSeconds = 4;
  constexpr unsigned kModes = 31;
  const auto feeds = [=](const Sequence& sequence) {
    return sequence.block == block + 1 && (sequence.mode & kModes) != 0;
  };
  if (std::ranges::count_if(program.sequences, feeds) != 1) return {};
  const Sequence& sequence = *std::ranges::find_if(program.sequences, feeds);
  MemBlockCycle cycle{.records = 1};
  ForEachRun(sequence, [&](std::int32_t first, std::int32_t last) {
    cycle.records += static_cast<std::uint32_t>(std::max(0, last - first + 1));
    cycle.period += MeasuringTime(program, first, last);
  });
  if ((sequence.mode & 1U) != 0) return cycle;
  if ((sequence.mode & kTimesPeriod) != 0) {
    cycle.period *= sequence.period;
  } else if ((sequence.mode & kSeconds) != 0) {
    cycle.period = sequence.period * 1000;
  }
  return cycle;
}

}  // namespace ulix::memolog

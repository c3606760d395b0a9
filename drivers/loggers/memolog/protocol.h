// Between Memolog registers and values. Pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ulix::memolog {

using Words = std::vector<std::uint16_t>;

// Word 0 of a program frame.
enum Command : std::uint16_t {
  kEnterProgramMode = 4,
  kWriteRecord = 5,
  kLeaveProgramMode = 6,
  kFirstRecord = 7,
  kNextRecord = 8,
  kMemoryBlock = 10,
  kCountRecords = 15,
};

// Word 2 of a frame of kMemoryBlock.
enum BlockCommand : std::uint16_t { kBlockState = 19, kFreezeBlock = 20, kReadRecords = 21, kClearRecords = 22 };

inline constexpr std::size_t kFrameHead = 2;  // command, count of data words
inline constexpr std::size_t kMaxFrameWords = 199;
inline constexpr std::size_t kMaxRecordWords = 196;

// A part of a frame, written by one request.
struct FrameBlock {
  std::size_t first;  // word
  std::size_t count;
};
// In the order of writing: the last part first, so that the command is the last thing that the logger gets.
std::vector<FrameBlock> FrameBlocks(std::size_t words);

// "ENTER PROG MODE..." and its zero in a field of 20 bytes.
Words EnterProgramModeData();

// A command or a reply in registers: two characters each, the first in the high byte. A command is sent in the OEM code
// page, with its zero, in whole registers, cut to 100 bytes.
Words TextRegisters(std::string_view command);
std::string TextIn(std::span<const std::uint16_t> registers);

// Words as bytes, low byte first.
std::string BytesOf(std::span<const std::uint16_t> words);
Words WordsOf(std::string_view bytes);

// Whether an identification comes from one of the models.
bool IsMemolog(std::string_view identification);
// The identification and, where there is one, the name of the program.
std::string VersionText(const std::string& identification, std::string_view program_name);

struct BlockState {
  bool recording = false;
  bool freezes_itself = false;  // need not be frozen while it is read
  std::uint16_t held = 0;
};
// Of a reply from word 0 on; none when it is too short.
std::optional<BlockState> ParseBlockState(std::span<const std::uint16_t> reply);

// Data words of kMemoryBlock, for a block's id.
Words BlockStateData(std::uint32_t block);
Words FreezeData(std::uint32_t block, bool recording, bool freeze);
Words ReadRecordsData(std::uint32_t block, std::uint32_t first, std::uint32_t count);
Words ClearData(std::uint32_t block, std::uint32_t count);
// How many words of a reply with `count` records are read at once.
std::size_t ReadRecordsReply(std::size_t count);
// The records in a reply to ReadRecordsData; none unless it is the reply to that very request, and whole.
std::optional<std::span<const std::uint16_t>> RecordsIn(std::span<const std::uint16_t> reply,
                                                        std::span<const std::uint16_t> request);

}  // namespace ulix::memolog

// Conversions between Memolog registers and values. Pure functions.
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

// A part of a frame that is written by one request.
struct FrameBlock {
  std::size_t first;  // number of its first word
  std::size_t count;
};
// The parts of a frame in the order of writing. The last part comes first, so that the logger gets the command word at
// the end.
std::vector<FrameBlock> FrameBlocks(std::size_t words);

// The text "ENTER PROG MODE..." and its zero byte, in a field of 20 bytes.
Words EnterProgramModeData();

// Texts in registers: two characters in each, the first one in the high byte. A command is sent in the OEM code page,
// with its zero byte, and cut to 100 bytes.
Words TextRegisters(std::string_view command);
std::string TextIn(std::span<const std::uint16_t> registers);

// Words as bytes, low byte first.
std::string BytesOf(std::span<const std::uint16_t> words);
Words WordsOf(std::string_view bytes);

// Whether an identification is that of a Memolog.
bool IsMemolog(std::string_view identification);
// The identification, followed by the name of the program if there is one.
std::string VersionText(const std::string& identification, std::string_view program_name);

struct BlockState {
  bool recording = false;
  bool freezes_itself = false;  // the logger needs no command to freeze it
  std::uint16_t held = 0;
};
// Parses a reply from word 0 on. None when the reply is too short.
std::optional<BlockState> ParseBlockState(std::span<const std::uint16_t> reply);

// The data words of kMemoryBlock frames. `block` is the block's id.
Words BlockStateData(std::uint32_t block);
Words FreezeData(std::uint32_t block, bool recording, bool freeze);
Words ReadRecordsData(std::uint32_t block, std::uint32_t first, std::uint32_t count);
Words ClearData(std::uint32_t block, std::uint32_t count);
// How many words of a reply with `count` records are read in the first request.
std::size_t ReadRecordsReply(std::size_t count);
// The records in a reply to ReadRecordsData. None if the reply belongs to another request or is incomplete.
std::optional<std::span<const std::uint16_t>> RecordsIn(std::span<const std::uint16_t> reply,
                                                        std::span<const std::uint16_t> request);

}  // namespace ulix::memolog

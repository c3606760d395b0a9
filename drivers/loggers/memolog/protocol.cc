#include "drivers/loggers/memolog/protocol.h"

#include <algorithm>
#include <array>

#include "base/text.h"
#include "drivers/loggers/memolog/tables.h"
#include "drivers/loggers/record_memory.h"
#include "platform/code_page.h"

namespace ulix::memolog {
namespace {

constexpr std::size_t kFrameBlock = 60;
constexpr std::size_t kMaxTextBytes = 100;
constexpr std::size_t kRequestWords = 4;  // of kReadRecords, repeated in its reply

std::uint16_t WireNumber(std::uint32_t block) { return static_cast<std::uint16_t>(block + 1); }
std::uint16_t Word(unsigned low, unsigned high) { return static_cast<std::uint16_t>((low & 0xFFU) | high << 8U); }

// The order of the two bytes in a word.
enum class ByteOrder { kLowFirst, kHighFirst };

Words Packed(std::string_view bytes, ByteOrder order) {
  Words words;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const unsigned first = static_cast<unsigned char>(bytes[i]), second = static_cast<unsigned char>(bytes[i + 1]);
    words.push_back(order == ByteOrder::kLowFirst ? Word(first, second) : Word(second, first));
  }
  return words;
}

std::string Unpacked(std::span<const std::uint16_t> words, ByteOrder order) {
  std::string bytes;
  bytes.reserve(words.size() * 2);
  for (const std::uint16_t word : words) {
    const auto low = static_cast<char>(word & 0xFFU), high = static_cast<char>(word >> 8U);
    bytes += order == ByteOrder::kLowFirst ? low : high;
    bytes += order == ByteOrder::kLowFirst ? high : low;
  }
  return bytes;
}

}  // namespace

std::vector<FrameBlock> FrameBlocks(std::size_t words) {
  std::vector<FrameBlock> blocks;
  for (std::size_t first = 0; first < words; first += kFrameBlock) {
    blocks.push_back({first, std::min(kFrameBlock, words - first)});
  }
  std::ranges::reverse(blocks);
  return blocks;
}

Words EnterProgramModeData() {
  std::string field = "ENTER PROG MODE...";
  field.resize(20);
  return WordsOf(field);
}

Words TextRegisters(std::string_view command) {
  std::string text(command.substr(0, kMaxTextBytes - 1));
  platform::OemFromAnsi(text);
  text += '\0';
  text.resize(text.size() + text.size() % 2);
  return Packed(text, ByteOrder::kHighFirst);
}

std::string TextIn(std::span<const std::uint16_t> registers) {
  const std::string text = Unpacked(registers, ByteOrder::kHighFirst);
  return text.substr(0, text.find('\0'));
}

std::string BytesOf(std::span<const std::uint16_t> words) { return Unpacked(words, ByteOrder::kLowFirst); }
Words WordsOf(std::string_view bytes) { return Packed(bytes, ByteOrder::kLowFirst); }

bool IsMemolog(std::string_view identification) {
  return std::ranges::any_of(kModelWords, [&](const char* word) { return Contains(identification, word); });
}

std::string VersionText(const std::string& identification, std::string_view program_name) {
  constexpr std::array<std::string_view, 3> kNoName = {"OK", "INCONNUE", "Illegal"};
  if (std::ranges::find(kNoName, Trimmed(program_name)) != kNoName.end()) return identification;
  return identification + " (\"" + std::string(program_name) + "\")";
}

std::optional<BlockState> ParseBlockState(std::span<const std::uint16_t> reply) {
  constexpr std::size_t kItemWords = 6;
  if (reply.size() < kFrameHead + kItemWords || reply[1] < kItemWords) return std::nullopt;
  const std::uint16_t flags = reply[kFrameHead + 3];  // bytes 6 and 7 of the item
  return BlockState{(flags & 0xFFU) != 0, flags >> 8U != 0, reply[kFrameHead + 4]};
}

Words BlockStateData(std::uint32_t block) { return {kBlockState, WireNumber(block)}; }

Words FreezeData(std::uint32_t block, bool recording, bool freeze) {
  return {kFreezeBlock, WireNumber(block), Word((recording ? 1U : 0U) | (freeze ? 2U : 0U), 0)};
}

Words ReadRecordsData(std::uint32_t block, std::uint32_t first, std::uint32_t count) {
  return {kReadRecords, WireNumber(block), static_cast<std::uint16_t>(first), Word(count, 0)};
}

// A count above the logger's capacity means all records, which the logger expects as 0.
Words ClearData(std::uint32_t block, std::uint32_t count) {
  return {kClearRecords, WireNumber(block), 2, static_cast<std::uint16_t>(count > 0xFFFF ? 0 : count)};
}

std::size_t ReadRecordsReply(std::size_t count) { return (record_memory::kRecordBytes * count + 9) / 2 + kFrameHead; }

std::optional<std::span<const std::uint16_t>> RecordsIn(std::span<const std::uint16_t> reply,
                                                        std::span<const std::uint16_t> request) {
  const std::size_t words = std::size_t{request[3]} * record_memory::kRecordBytes / 2;
  constexpr std::size_t kStart = kFrameHead + kRequestWords;
  if (reply.size() < kStart + words || reply[1] < kRequestWords + words) return std::nullopt;
  if (!std::ranges::equal(reply.subspan(kFrameHead, kRequestWords), request)) return std::nullopt;
  return reply.subspan(kStart, words);
}

}  // namespace ulix::memolog

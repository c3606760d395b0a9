// Any bytes as replies of a Modbus slave and of a logger.
#include <cmath>
#include <string>
#include <vector>

#include "drivers/loggers/memolog/program_model.h"
#include "drivers/loggers/memolog/protocol.h"
#include "drivers/loggers/record_decoder.h"
#include "fuzz/require.h"
#include "links/modbus_frames.h"

namespace ulix {
namespace {

void CheckRecords(std::string_view bytes) {
  ChannelArrays whole;
  RecordDecoder().Decode(bytes, whole);
  Require(whole.size() <= bytes.size() / RecordDecoder::kRecordBytes, "a record yields one element at most");
  ChannelArrays parts;
  RecordDecoder decoder;
  for (; bytes.size() >= RecordDecoder::kRecordBytes; bytes.remove_prefix(RecordDecoder::kRecordBytes)) {
    decoder.Decode(bytes.substr(0, RecordDecoder::kRecordBytes), parts);
  }
  Require(parts.ids == whole.ids && parts.times == whole.times && parts.errors == whole.errors, "parts are the whole");
  for (const Date time : whole.times) Require(time >= 35065 && time < 84800, "a time is one of the logger's clock");
}

void CheckReplies(std::string_view bytes) {
  const memolog::Words reply = memolog::WordsOf(bytes.substr(0, 398));
  memolog::ParseBlockState(reply);
  const memolog::Words request = memolog::ReadRecordsData(3, 7, bytes.size() % 49);
  const auto records = memolog::RecordsIn(reply, request);
  if (records) Require(records->size() == 4 * (bytes.size() % 49), "all records that were asked for");
  Require(memolog::TextIn(reply).find('\0') == std::string::npos, "a text ends before its zero");
}

// The first word of each record is its length.
void CheckProgram(std::string_view bytes) {
  const memolog::Words words = memolog::WordsOf(bytes);
  memolog::Program program;
  for (std::size_t at = 0; at < words.size();) {
    const std::size_t length = std::min<std::size_t>(words[at] % 197, words.size() - at - 1);
    const auto start = words.begin() + static_cast<std::ptrdiff_t>(at + 1);
    memolog::AddRecord({start, start + static_cast<std::ptrdiff_t>(length)}, program);
    at += 1 + length;
  }
  for (std::uint32_t block = 0; block <= 100; ++block) memolog::CycleOf(program, block);
  for (const auto& [block, size] : program.blocks) Require(block <= 99 && size != 0, "a block is one of a hundred");
}

void CheckModbus(std::string_view bytes) {
  if (bytes.size() >= 3) Require(modbus::SerialReplyLength(bytes) <= 260, "a frame is never longer than that");
  if (bytes.size() >= modbus::kNetworkHead) {
    Require(modbus::NetworkFrameLength(bytes) <= 260, "nor on a network");
  }
  const std::string request = modbus::ReadRequest(44000, 3);
  std::vector<std::uint16_t> registers(3);
  if (modbus::TakeRegisters(bytes, registers)) Require(bytes.size() == 8, "three registers take eight bytes");
  modbus::ExceptionIn(bytes, request);
  Require(modbus::Crc16(modbus::SerialFrame(1, bytes)) == 0, "a check over a frame with its check is nothing");
}

}  // namespace
}  // namespace ulix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes = ulix::TextOfInput(data, size);
  ulix::CheckRecords(bytes);
  ulix::CheckReplies(bytes);
  ulix::CheckProgram(bytes);
  ulix::CheckModbus(bytes);
  return 0;
}

#include "simulators/memolog.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "base/text.h"

namespace ulix {
namespace {

// Registers.
constexpr unsigned kLock = 10016;
constexpr unsigned kText = 600;
constexpr unsigned kFrame = 44000;
constexpr unsigned kStatus = 44198;
constexpr unsigned kPresentValues = 45000;  // Two registers for each channel.

// The statuses with which the logger refuses frames.
constexpr unsigned kNotKnown = 1;
constexpr unsigned kNotProgramming = 2;
constexpr unsigned kNoBlock = 3;
constexpr unsigned kNotFrozen = 4;
constexpr unsigned kNoRecord = 5;
constexpr unsigned kKept = 6;

constexpr std::size_t kMaxWordsOfRecord = 196;
constexpr std::size_t kMaxRecordsAtOnce = 48;
constexpr unsigned kSmallBlock = 1;
constexpr unsigned kLargeBlock = 2;
constexpr std::uint32_t kFirstRecordTime = 366U * 86400U;  // 1997-01-01 on the logger's clock

struct SimulatedChannel {
  const char* name;
  unsigned type;
  unsigned unit;
  unsigned decimals;
  float limit;
};
// The last channel has a type that the channel list leaves out.
constexpr SimulatedChannel kChannels[] = {
    {"OVEN", 0x01, 5, 2, 250.0F}, {"ROOM", 0xE1, 5, 1, 0.0F}, {"", 0x00, 7, 3, 0.0F}, {"SUM", 0x20, 0, 0, 0.0F}};

using Record = MemologSimulator::Record;

void AddLong(Record& record, std::uint32_t value) {
  record.push_back(static_cast<std::uint16_t>(value % 65536));
  record.push_back(static_cast<std::uint16_t>(value / 65536));
}

// Kind 4: number, name, type and unit, decimals, two limits, measuring time, register of the present value.
Record ChannelRecord(unsigned number, const SimulatedChannel& channel) {
  Record record{4, static_cast<std::uint16_t>(number)};
  char name[9] = {};
  std::strncpy(name, channel.name, 8);
  for (int i = 0; i < 8; i += 2) {
    record.push_back(static_cast<std::uint16_t>(static_cast<unsigned char>(name[i]) +
                                                256 * static_cast<unsigned char>(name[i + 1])));
  }
  record.push_back(static_cast<std::uint16_t>(channel.type + 256 * channel.unit));
  record.push_back(static_cast<std::uint16_t>(channel.decimals));
  record.push_back(channel.limit != 0 ? 9 : 0);  // A high limit, or no limit.
  AddLong(record, std::bit_cast<std::uint32_t>(channel.limit));
  record.resize(record.size() + 2 + 5);
  AddLong(record, 20);
  record.push_back(static_cast<std::uint16_t>(kPresentValues + 2 * (number - 1)));
  return record;
}

// Kind 1: the mark of the simulated logger's program and its layout.
Record MarkRecord() {
  constexpr std::string_view kMark = "ULIX SIMULATED LOGGER, LAYOUT 1\n";
  static_assert(kMark.size() % 2 == 0);
  Record record{1, 0};
  for (std::size_t i = 0; i < kMark.size(); i += 2) {
    record.push_back(static_cast<std::uint16_t>(kMark[i] + 256 * kMark[i + 1]));
  }
  return record;
}

// Kind 2: the blocks. Kind 3: the sequences.
std::vector<Record> FactoryProgram() {
  std::vector<Record> program{MarkRecord(),
                              {2, kSmallBlock, 100},
                              {2, kLargeBlock, 60000},
                              {3, 1, kSmallBlock, 4, 10, 0, 1, static_cast<std::uint16_t>(-3), 0},
                              {3, 2, kLargeBlock, 2, 50, 0, 1, 2, 3, 0}};
  unsigned number = 0;
  for (const SimulatedChannel& channel : kChannels) program.push_back(ChannelRecord(++number, channel));
  return program;
}

double SwingingValue(unsigned channel, double seconds) {
  if (channel == 1) return 20 + 180 * (1 - std::exp(-seconds / 600)) + std::sin(seconds / 40);
  if (channel == 2) return 21.5 + 1.5 * std::sin(seconds / 900);
  return 1.013 + 0.004 * std::cos(seconds / 300);
}

}  // namespace

// Writes records in the logger's layout.
class MemologSimulator::Recorder {
 public:
  explicit Recorder(std::size_t max_records) : max_records_(max_records) {}

  void TimeBase(unsigned kind, std::uint32_t seconds, unsigned fraction) {
    StoredRecord record = Start(kind, 0);
    const std::size_t at = kind == 6 ? 4 : 3;
    for (std::size_t i = 0; i < 4; ++i) record[at + i] = static_cast<unsigned char>(seconds >> (8 * i));
    if (kind != 6) record[7] = static_cast<unsigned char>(fraction);
    Add(record);
  }
  void Measurement(unsigned channel, unsigned step, double value) {
    const auto bits = std::bit_cast<std::uint32_t>(static_cast<float>(value));
    StoredRecord record = Start(0, channel);
    record[2] = static_cast<unsigned char>(step);
    for (std::size_t i = 0; i < 4; ++i) record[4 + i] = static_cast<unsigned char>(bits >> (8 * i));
    Add(record);
  }
  void Failure(unsigned channel, unsigned step, int error) {
    StoredRecord record = Start(7, channel);
    record[2] = static_cast<unsigned char>(step);
    record[3] = 16;
    record[4] = static_cast<unsigned char>(error % 256);
    record[5] = static_cast<unsigned char>(error / 256 % 256);
    Add(record);
  }
  bool full() const { return records_.size() >= max_records_; }
  std::vector<StoredRecord> Take() { return std::move(records_); }

 private:
  static StoredRecord Start(unsigned kind, unsigned channel) {
    return {static_cast<unsigned char>(channel), static_cast<unsigned char>(kind * 16 + channel / 256)};
  }
  void Add(const StoredRecord& record) {
    if (!full()) records_.push_back(record);
  }
  std::size_t max_records_;
  std::vector<StoredRecord> records_;
};

MemologSimulator::MemologSimulator(Clock& clock)
    : clock_(clock),
      started_(clock.Now()),
      program_(FactoryProgram()),
      properties_{{"slave", &slave_},
                  {"identity", &identity_},
                  {"program-name", &program_name_},
                  {"records", &records_},
                  {"recording", &recording_},
                  {"freezes-itself", &freezes_itself_},
                  {"lock", &lock_},
                  {"refuse-with", &refuse_with_},
                  {"miscount", &miscount_},
                  {"keeps-records", &keeps_records_}} {
  FillBlocks();
}

HRESULT MemologSimulator::Set(std::string_view key, std::string_view value) {
  const HRESULT result = properties_.Set(key, value);
  if (Succeeded(result) && EqualIgnoringCase(key, "records")) FillBlocks();
  return result;
}

void MemologSimulator::FillBlocks() {
  Recorder small(12);
  small.TimeBase(1, kFirstRecordTime, 100);
  for (unsigned k = 0; k < 9; ++k) {
    if (k == 6) small.TimeBase(6, kFirstRecordTime + 60, 0);
    small.Measurement(1 + k % 3, 27, SwingingValue(1 + k % 3, 10 * k));
  }
  small.Failure(2, 1, 0xFFFD);
  blocks_[kSmallBlock] = {small.Take(), false};

  Recorder large(records_);
  for (std::uint32_t round = 0; !large.full(); ++round) {
    if (round % 100 == 0) large.TimeBase(round % 200 == 0 ? 3 : 6, kFirstRecordTime + 10 * round, 0);
    for (unsigned channel = 1; channel <= 3; ++channel) {
      // Ten seconds are 1280 steps, and a record can hold 255: a time base comes before each round.
      if (channel == 1 && round % 100 != 0) large.TimeBase(8, kFirstRecordTime + 10 * round, 0);
      if (channel == 3 && round % 50 == 49) {
        large.Failure(channel, 32, 0xFFFE);
      } else {
        large.Measurement(channel, 32, SwingingValue(channel, 10.0 * round));
      }
    }
  }
  blocks_[kLargeBlock] = {large.Take(), false};
}

double MemologSimulator::PresentValue(unsigned channel) const {
  return SwingingValue(channel, std::chrono::duration<double>(clock_.Now() - started_).count());
}

std::uint8_t MemologSimulator::ReadRegisters(unsigned address, std::span<std::uint16_t> values) {
  const unsigned end = address + static_cast<unsigned>(values.size());
  if (address == kLock && values.size() == 1) {
    values[0] = lock_;
  } else if (address == kStatus && values.size() == 1) {
    values[0] = status_;
  } else if (address >= kText && end <= kText + text_.size()) {
    std::copy_n(text_.begin() + (address - kText), values.size(), values.begin());
  } else if (address >= kFrame && end <= kFrame + reply_.size()) {
    std::copy_n(reply_.begin() + (address - kFrame), values.size(), values.begin());
  } else if (address >= kPresentValues && address % 2 == 0 && values.size() == 2 &&
             end <= kPresentValues + 2 * std::size(kChannels)) {
    const auto bits =
        std::bit_cast<std::uint32_t>(static_cast<float>(PresentValue((address - kPresentValues) / 2 + 1)));
    values[0] = static_cast<std::uint16_t>(bits % 65536);
    values[1] = static_cast<std::uint16_t>(bits / 65536);
  } else {
    return kNoAddress;
  }
  return kDone;
}

std::uint8_t MemologSimulator::WriteRegister(unsigned address, std::uint16_t value) {
  if (address != kLock) return kNoAddress;
  lock_ = value;
  return kDone;
}

std::uint8_t MemologSimulator::WriteRegisters(unsigned address, std::span<const std::uint16_t> values) {
  if (address == kText && values.size() <= text_.size()) {
    std::copy(values.begin(), values.end(), text_.begin());
    AnswerText();
    return kDone;
  }
  if (address < kFrame || address + values.size() > kFrame + frame_.size() || values.size() > 60) return kNoAddress;
  std::copy(values.begin(), values.end(), frame_.begin() + (address - kFrame));
  return address == kFrame ? ActOnFrame() : kDone;
}

void MemologSimulator::AnswerText() {
  std::string asked;
  for (const std::uint16_t value : text_) {
    asked += static_cast<char>(value / 256);
    asked += static_cast<char>(value % 256);
  }
  asked = asked.substr(0, asked.find('\0'));
  std::string answer = "Illegal";
  if (asked == "*IDN?") {
    answer = identity_;
  } else if (asked == "NOMPROG?") {
    answer = program_name_.empty() ? "INCONNUE" : program_name_;
  } else if (asked == "INITOUI") {
    answer = "OK";
  } else {
    NoteUnknown(asked);
  }
  answer.resize(text_.size() * 2);
  for (std::size_t i = 0; i < text_.size(); ++i) {
    text_[i] = static_cast<std::uint16_t>(256 * static_cast<unsigned char>(answer[2 * i]) +
                                          static_cast<unsigned char>(answer[2 * i + 1]));
  }
}

std::uint8_t MemologSimulator::Refuse(unsigned status) {
  status_ = static_cast<std::uint16_t>(status);
  return kBadValue;
}

void MemologSimulator::Reply(unsigned command, const Record& data) {
  reply_ = {};
  reply_[0] = static_cast<std::uint16_t>(command);
  reply_[1] = static_cast<std::uint16_t>(data.size());
  std::copy(data.begin(), data.end(), reply_.begin() + 2);
}

std::uint8_t MemologSimulator::ActOnFrame() {
  const unsigned command = frame_[0];
  status_ = 0;
  if (refuse_with_ != 0) return Refuse(refuse_with_);
  if (frame_[1] > frame_.size() - 2) return Refuse(kNotKnown);
  switch (command) {
    case 4: {
      const std::string_view text = "ENTER PROG MODE...";
      for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned word = frame_[2 + i / 2];
        if (static_cast<char>(i % 2 == 0 ? word % 256 : word / 256) != text[i]) return Refuse(kNotKnown);
      }
      programming_ = true;
      incoming_.clear();
      return frame_[1] == 10 && frame_[11] % 256 == 0 ? kDone : Refuse(kNotKnown);
    }
    case 6:
      if (programming_) program_ = std::move(incoming_);
      programming_ = false;
      return kDone;
    case 15:
      Reply(command, {static_cast<std::uint16_t>(program_.size() + miscount_)});
      return kDone;
    case 10:
      return ActOnBlock();
    default:
      return ActOnRecord(command);
  }
}

void MemologSimulator::ReplyWithRecord(std::size_t place) {
  Reply(frame_[0], place < program_.size() ? program_[place] : Record());
}

std::uint8_t MemologSimulator::ActOnRecord(unsigned command) {
  const std::size_t count = frame_[1];
  if (command == 5) {
    if (!programming_ || count == 0 || count > kMaxWordsOfRecord) return Refuse(kNotProgramming);
    incoming_.emplace_back(frame_.begin() + 2, frame_.begin() + 2 + static_cast<std::ptrdiff_t>(count));
  } else if (command == 7) {
    ReplyWithRecord(0);
  } else if (command == 8 && count == 2) {
    const auto known = std::find_if(program_.begin(), program_.end(), [&](const Record& record) {
      return record[0] == frame_[2] && (record.size() < 2 ? 0 : record[1]) == frame_[3];
    });
    ReplyWithRecord(static_cast<std::size_t>(known - program_.begin()) + 1);
  } else {
    NoteUnknown("frame command " + std::to_string(command));
    return Refuse(kNotKnown);
  }
  return kDone;
}

std::uint8_t MemologSimulator::ActOnBlock() {
  const auto found = blocks_.find(frame_[3]);
  if (found == blocks_.end()) return Refuse(kNoBlock);
  Block& block = found->second;
  const std::size_t held = block.records.size();
  switch (frame_[2]) {
    case 19:
      Reply(10, {0, 0, 0, static_cast<std::uint16_t>((recording_ ? 1 : 0) + (freezes_itself_ ? 256 : 0)),
                 static_cast<std::uint16_t>(held), 0});
      return kDone;
    case 20:
      block.frozen = frame_[4] / 2 % 2 == 1;
      return kDone;
    case 21: {
      const std::size_t count = frame_[5];
      if (!block.frozen && !freezes_itself_) return Refuse(kNotFrozen);
      if (count == 0 || count > kMaxRecordsAtOnce || frame_[4] == 0 || frame_[4] - 1 + count > held) {
        return Refuse(kNoRecord);
      }
      ReplyWithRecords(block);
      return kDone;
    }
    case 22: {
      if (keeps_records_) return Refuse(kKept);
      const std::size_t count = frame_[5] == 0 ? held : std::min<std::size_t>(frame_[5], held);
      block.records.erase(block.records.begin(), block.records.begin() + static_cast<std::ptrdiff_t>(count));
      return frame_[4] == 2 ? kDone : Refuse(kNotKnown);
    }
    default:
      NoteUnknown("block command " + std::to_string(frame_[2]));
      return Refuse(kNotKnown);
  }
}

void MemologSimulator::ReplyWithRecords(const Block& block) {
  Record data(frame_.begin() + 2, frame_.begin() + 6);
  for (std::size_t k = frame_[4] - 1U; k < frame_[4] - 1U + frame_[5]; ++k) {
    const StoredRecord& record = block.records[k];
    for (std::size_t i = 0; i < record.size(); i += 2) {
      data.push_back(static_cast<std::uint16_t>(record[i] + 256 * record[i + 1]));
    }
  }
  Reply(10, data);
}

std::unique_ptr<Simulator> memolog::MakeSimulator(Clock& clock) { return std::make_unique<MemologSimulator>(clock); }

}  // namespace ulix

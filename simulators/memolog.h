// A simulated Memolog: a program, and two blocks of recorded measurements.
#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

#include "simulators/modbus_slave.h"
#include "simulators/properties.h"

namespace ulix {

class MemologSimulator final : public ModbusSlaveSimulator {
 public:
  explicit MemologSimulator(Clock& clock);

  HRESULT Set(std::string_view key, std::string_view value) override;
  std::vector<std::pair<std::string, std::string>> Properties() const override { return properties_.Texts(); }

  using Record = std::vector<std::uint16_t>;
  const std::vector<Record>& program() const { return program_; }
  bool in_program_mode() const { return programming_; }
  // Block and channel numbers count from 1, as in the logger.
  bool frozen(unsigned block) const { return blocks_.contains(block) && blocks_.at(block).frozen; }
  std::size_t held(unsigned block) const { return blocks_.contains(block) ? blocks_.at(block).records.size() : 0; }
  unsigned lock() const { return lock_; }
  // The present value of a channel of the original program.
  double PresentValue(unsigned channel) const;

 private:
  using StoredRecord = std::array<unsigned char, 8>;
  struct Block {
    std::vector<StoredRecord> records;
    bool frozen = false;
  };
  class Recorder;

  std::uint8_t ReadRegisters(unsigned address, std::span<std::uint16_t> values) override;
  std::uint8_t WriteRegisters(unsigned address, std::span<const std::uint16_t> values) override;
  std::uint8_t WriteRegister(unsigned address, std::uint16_t value) override;

  void AnswerText();
  std::uint8_t ActOnFrame();
  std::uint8_t ActOnRecord(unsigned command);
  std::uint8_t ActOnBlock();
  std::uint8_t Refuse(unsigned status);
  void Reply(unsigned command, const Record& data);
  void ReplyWithRecord(std::size_t place);
  void ReplyWithRecords(const Block& block);
  void FillBlocks();

  Clock& clock_;
  MonotonicTime started_;
  std::string identity_ = "ULIX,MEMOLOG90,1234567,V2.10";
  std::string program_name_ = "FURNACE";
  std::uint16_t records_ = 1501;   // In block 2.
  std::uint16_t lock_ = 0;         // The memory lock register.
  std::uint16_t refuse_with_ = 0;  // When not 0, every frame is refused with this status.
  std::uint16_t miscount_ = 0;     // Added to the record count that the logger reports for its program.
  bool recording_ = false;
  bool freezes_itself_ = false;
  bool keeps_records_ = false;  // clearing is refused

  std::array<std::uint16_t, 50> text_{};
  std::array<std::uint16_t, 199> frame_{};  // The last written frame.
  std::array<std::uint16_t, 199> reply_{};
  std::uint16_t status_ = 0;
  bool programming_ = false;
  std::vector<Record> program_;
  std::vector<Record> incoming_;  // The records of a program that is being sent.
  std::map<unsigned, Block> blocks_;
  PropertyTable properties_;
};

}  // namespace ulix

// Base class of the simulated Modbus slaves. It speaks Modbus RTU on a serial line and Modbus TCP on a network.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "simulators/simulator.h"

namespace ulix {

class ModbusSlaveSimulator : public Simulator {
 public:
  std::vector<SimulatedReply> Receive(std::string_view bytes) final;
  // The reply that refuses the last request: exception 3, illegal data value.
  std::string Refusal() const final;
  void OnNetwork() final { network_ = true; }

 protected:
  static constexpr std::uint8_t kDone = 0;
  static constexpr std::uint8_t kNoFunction = 1;
  static constexpr std::uint8_t kNoAddress = 2;
  static constexpr std::uint8_t kBadValue = 3;

  // The functions below return kDone or an exception code.
  virtual std::uint8_t ReadRegisters(unsigned address, std::span<std::uint16_t> values) = 0;
  virtual std::uint8_t WriteRegisters(unsigned address, std::span<const std::uint16_t> values) = 0;
  // Writes one register with function 6. Not every register accepts this function.
  virtual std::uint8_t WriteRegister(unsigned address, std::uint16_t value) = 0;

  std::uint8_t slave_ = 1;  // address of the slave

 private:
  std::size_t FrameLength() const;
  SimulatedReply Answer(std::string_view frame);
  std::string Act(std::string_view message);
  std::string Framed(std::string_view message) const;

  bool network_ = false;
  std::string pending_;
  std::string head_;        // transaction id and protocol id of the last network request
  std::uint8_t asked_ = 0;  // function code of the last request
};

}  // namespace ulix

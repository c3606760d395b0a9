// Kelvo10 process calibrator on a serial line: one measured channel "IN", one sourced channel "OUT".
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "drivers/calibrators/kelvo10/protocol.h"
#include "drivers/serial_driver.h"

namespace ulix::kelvo10 {

class Kelvo10Driver final : public SerialDriver {
 public:
  explicit Kelvo10Driver(DriverServices services);

  Expected<std::string> Identify() override;
  HRESULT SendCfg() override;
  HRESULT ReadCfg() override;
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  std::string ChannelUnit(ChannelId id) const override;
  int ChannelResolution(ChannelId id) const override;

  static std::unique_ptr<Driver> Create(DriverServices services);

 private:
  HRESULT Greet() override;
  void TakeLeave() override;
  HRESULT SendRange(Side side, const std::vector<StoredValue>& record);
  Expected<RangeReply> ReadRange(Side side, const std::vector<StoredValue>& record);
  std::uint32_t FunctionOf(ChannelId id) const;
};

}  // namespace ulix::kelvo10

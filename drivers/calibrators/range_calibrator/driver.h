// A range calibrator on a serial line: one measured channel "IN", one sourced channel "OUT".
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "drivers/calibrators/range_calibrator/protocol.h"
#include "drivers/serial_driver.h"

namespace ulix::range_calibrator {

class RangeCalibratorDriver final : public SerialDriver {
 public:
  RangeCalibratorDriver(const Model& model, DriverServices services);

  Expected<std::string> Identify() override;
  HRESULT SendCfg() override;
  HRESULT ReadCfg() override;
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  std::string ChannelUnit(ChannelId id) const override;
  int ChannelResolution(ChannelId id) const override;

 private:
  HRESULT Greet() override;
  Landmark landmark() const override;
  bool IsLandmark(std::string_view reply) const override { return IsModel(model_, reply); }
  void TakeLeave() override;
  HRESULT SendRange(Side side, const std::vector<StoredValue>& record);
  Expected<RangeReply> ReadRange(Side side, const std::vector<StoredValue>& record);
  std::uint32_t FunctionOf(ChannelId id) const;

  // The record has one temperature unit; an instrument that was set by hand may have another one on its output.
  struct UnitsRead {
    std::uint32_t record = ~0U;  // as it was read; what it says of the output holds while the record has this unit
    std::uint32_t output = 0;
  };

  const Model& model_;
  std::atomic<UnitsRead> units_read_{};
};

}  // namespace ulix::range_calibrator

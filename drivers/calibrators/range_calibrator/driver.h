// The driver of range calibrators on a serial line: one measured channel "IN" and one sourced channel "OUT".
#pragma once

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

#include "drivers/calibrators/range_calibrator/protocol.h"
#include "drivers/identified_driver.h"

namespace ulix::range_calibrator {

class RangeCalibratorDriver final : public IdentifiedDriver {
 public:
  RangeCalibratorDriver(const Model& model, const DriverServices& services);

  HRESULT SendCfg() override;
  HRESULT ReadCfg() override;
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  ChannelTraits DescribeChannel(ChannelId id) const override;

 private:
  Expected<bool> StartSession(Conversation& talk) override;
  void EndSession(Conversation& talk) override;
  IdentityQuery identity_query() const override;
  bool IsModel(std::string_view text) const override { return text.find(model_.identity) != text.npos; }
  HRESULT SendRange(Conversation& talk, Side side, const std::vector<StoredValue>& record);
  Expected<RangeReply> ReadRange(Conversation& talk, Side side, const std::vector<StoredValue>& record);

  // The temperature units that ReadCfg found. The record has only one unit, but an instrument that was set by hand may
  // have another one on its output.
  struct alignas(8) UnitsRead {  // aligned, so that it is stored in one instruction
    std::uint32_t record = ~0U;  // the unit read for the record; `output` is valid while the record still has it
    std::uint32_t output = 0;
  };

  const Model& model_;
  std::atomic<UnitsRead> units_read_{};
};

// The factory of a model's drivers.
template <const Model& kModel>
std::unique_ptr<Driver> MakeRangeCalibrator(DriverServices services) {
  return std::make_unique<RangeCalibratorDriver>(kModel, std::move(services));
}

}  // namespace ulix::range_calibrator

// Kambic calibration bath: its temperature is read, its set point read and set.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "drivers/serial_driver.h"

namespace ulix::kambic {

class KambicDriver final : public SerialDriver {
 public:
  explicit KambicDriver(DriverServices services);

  Expected<std::string> Identify() override;
  // There is nothing to configure.
  HRESULT SendCfg() override { return S_OK; }
  HRESULT ReadCfg() override { return S_OK; }
  // kambicCtlErrChNum for a channel that is none.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  std::string ChannelUnit(ChannelId id) const override;
  int ChannelResolution(ChannelId id) const override;

  static std::unique_ptr<Driver> Create(DriverServices services);

 private:
  HRESULT Greet() override;
  Landmark landmark() const override;
  bool IsLandmark(std::string_view reply) const override;
};

}  // namespace ulix::kambic

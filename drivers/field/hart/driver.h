// HART interface unit on a serial line: a measured temperature and a set point.
#pragma once

#include <memory>
#include <string>

#include "drivers/field/hart/protocol.h"
#include "drivers/serial_driver.h"

namespace ulix::hart {

class HartDriver final : public SerialDriver {
 public:
  explicit HartDriver(DriverServices services);

  // The unit has no such query.
  Expected<std::string> Identify() override { return Failure(E_NOTIMPL); }
  // It has no configuration either.
  HRESULT SendCfg() override { return S_OK; }
  HRESULT ReadCfg() override { return S_OK; }
  // hartCtlErrChNum for a channel that is none.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  std::string ChannelUnit(ChannelId id) const override;
  int ChannelResolution(ChannelId id) const override;

  static std::unique_ptr<Driver> Create(DriverServices services);

 private:
  HRESULT Greet() override;
  Landmark landmark() const override;
  bool IsLandmark(std::string_view reply) const override { return IsSetPoint(reply); }
};

}  // namespace ulix::hart

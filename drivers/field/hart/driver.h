// HART interface unit on a serial line: a measured temperature and a set point.
#pragma once

#include <array>
#include <atomic>
#include <string>

#include "drivers/field/hart/protocol.h"
#include "drivers/field/hart/tables.h"
#include "drivers/serial_driver.h"

namespace ulix::hart {

class HartDriver final : public SerialDriver {
 public:
  explicit HartDriver(DriverServices services);

  // The unit has no such query.
  Expected<std::string> Identify() override { return Failure(E_NOTIMPL); }
  // hartCtlErrChNum for a channel that is none.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  // Of the last reading.
  std::string ChannelUnit(ChannelId id) const override;

 private:
  HRESULT Greet() override;
  Landmark landmark() const override;
  bool IsLandmark(std::string_view reply) const override { return IsSetPoint(reply); }

  std::array<std::atomic<const char*>, kChannels.size()> units_{kCelsiusText, kCelsiusText};
};

}  // namespace ulix::hart

// Kambic calibration bath: its temperature is read, its set point read and set.
#pragma once

#include <string>
#include <string_view>

#include "drivers/serial_driver.h"

namespace ulix::kambic {

class KambicDriver final : public SerialDriver {
 public:
  explicit KambicDriver(DriverServices services);

  Expected<std::string> Identify() override;
  // kambicCtlErrChNum for a channel that is none.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;

 private:
  HRESULT Greet() override;
  Landmark landmark() const override;
  bool IsLandmark(std::string_view reply) const override;
};

}  // namespace ulix::kambic

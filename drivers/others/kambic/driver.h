// The driver of Kambic calibration baths. It reads the temperature, and reads and writes the set point.
#pragma once

#include <string_view>

#include "drivers/identified_driver.h"

namespace ulix::kambic {

class KambicDriver final : public IdentifiedDriver {
 public:
  explicit KambicDriver(const DriverServices& services);

  // kambicCtlErrChNum for an unknown channel.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;

 private:
  IdentityQuery identity_query() const override;
  bool IsModel(std::string_view identification) const override;
};

}  // namespace ulix::kambic

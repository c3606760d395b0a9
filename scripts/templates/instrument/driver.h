// NewClass on a serial line: one measured channel "IN".
#pragma once

#include <string>

#include "drivers/serial_driver.h"

namespace ulix::new_word {

class NewClassDriver final : public SerialDriver {
 public:
  explicit NewClassDriver(DriverServices services);

  Expected<std::string> Identify() override;
  HRESULT SendCfg() override;
  HRESULT ReadCfg() override;
  Reading ReadChannel(ChannelId id) override;

 private:
  HRESULT Greet() override;
  Landmark landmark() const override;
  bool IsLandmark(std::string_view reply) const override;
};

}  // namespace ulix::new_word

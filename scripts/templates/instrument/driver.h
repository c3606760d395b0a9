// NewClass on a serial line: one measured channel "IN".
#pragma once

#include <memory>
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
  HRESULT WriteChannel(ChannelId id, float value) override;
  std::string ChannelUnit(ChannelId id) const override;
  int ChannelResolution(ChannelId id) const override;

  static std::unique_ptr<Driver> Create(DriverServices services);

 private:
  HRESULT Greet() override;
};

}  // namespace ulix::new_word

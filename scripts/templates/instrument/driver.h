// The driver of NewClass on a serial line. It has one measured channel, "IN".
#pragma once

#include "drivers/identified_driver.h"

namespace ulix::new_model {

class NewClassDriver final : public IdentifiedDriver {
 public:
  explicit NewClassDriver(const DriverServices& services);

  HRESULT SendCfg() override;
  HRESULT ReadCfg() override;
  Reading ReadChannel(ChannelId id) override;

 private:
  IdentityQuery identity_query() const override;
  bool IsModel(std::string_view identification) const override;
};

}  // namespace ulix::new_model

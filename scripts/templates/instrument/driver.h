// The driver of NewClass on a serial line. It has one measured channel, "IN".
#pragma once

#include <string>

#include "drivers/driver.h"

namespace ulix::new_word {

class NewClassDriver final : public Driver {
 public:
  explicit NewClassDriver(const DriverServices& services);

  Expected<std::string> Identify() override;
  HRESULT SendCfg() override;
  HRESULT ReadCfg() override;
  Reading ReadChannel(ChannelId id) override;

 private:
  Expected<bool> StartSession(Conversation& talk) override;
  SyncQuery sync_query() const override;
  bool IsSyncReply(std::string_view reply) const override;
};

}  // namespace ulix::new_word

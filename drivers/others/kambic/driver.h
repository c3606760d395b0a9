// Kambic calibration bath: its temperature is read, its set point read and set.
#pragma once

#include <string>
#include <string_view>

#include "drivers/driver.h"

namespace ulix::kambic {

class KambicDriver final : public Driver {
 public:
  explicit KambicDriver(const DriverServices& services);

  Expected<std::string> Identify() override;
  // kambicCtlErrChNum for a channel that is none.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;

 private:
  Expected<bool> StartSession(Conversation& talk) override;
  SyncQuery sync_query() const override;
  bool IsSyncReply(std::string_view reply) const override;
};

}  // namespace ulix::kambic

// The driver of Isotech dry-block and bath calibrators. One channel, "SETPOINT", can be set; nothing is measured.
#pragma once

#include <string>
#include <string_view>

#include "drivers/driver.h"
#include "platform/mutex.h"

namespace ulix::isotech {

class IsotechDriver final : public Driver, private SetPointForwarding {
 public:
  explicit IsotechDriver(const DriverServices& services);

  HRESULT WriteChannel(ChannelId id, float value) override;
  HRESULT Run() override;
  HRESULT Stop() override;

 private:
  // Sends nothing, because the controllers have no identification query.
  Expected<bool> StartSession(Conversation&) override { return true; }
  // Set points go to this object when the setting `model` is `object` (1).
  void SetObject(SetPointObject object) override;
  HRESULT SendSetPoint(float degrees);
  HRESULT SendToObject(std::uint32_t address, float degrees);
  HRESULT SendAddressed(std::uint32_t address, float degrees);
  // Sends a frame and checks its answer. `command` is the command without its argument.
  HRESULT SendLine(std::string_view frame, std::string_view command);
  static HRESULT SendStop(Conversation& talk);

  platform::Mutex object_mutex_;
  SetPointObject object_;  // guarded by object_mutex_
};

}  // namespace ulix::isotech

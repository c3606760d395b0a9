// Isotech dry-block or bath calibrator: one channel "SETPOINT" to be set; nothing is measured.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "drivers/driver.h"

namespace ulix::isotech {

// Where set points go when the setting `model` is `object` (1), in place of the line: the host's own object for its
// controller, given the address setting as it stands and degrees Celsius. What it returns is what the write returns.
// Called on the thread that writes, with no lock held; several threads may call at once.
using SetPointObject = std::function<HRESULT(std::uint32_t address, float degrees)>;

class IsotechDriver final : public Driver {
 public:
  explicit IsotechDriver(const DriverServices& services);

  // At any time, from any thread; an empty one takes the object away. Without one, such writes are E_NOTIMPL.
  void SetObject(SetPointObject object);

  HRESULT WriteChannel(ChannelId id, float value) override;
  HRESULT Run() override;
  HRESULT Stop() override;

 private:
  // The controllers have no identification query, and connecting asks them nothing.
  Expected<bool> StartSession(Conversation&) override { return true; }
  HRESULT SendSetPoint(float degrees);
  HRESULT SendToObject(std::uint32_t address, float degrees);
  HRESULT SendAddressed(std::uint32_t address, float degrees);
  // `command` without its argument.
  HRESULT SendLine(std::string_view frame, std::string_view command);
  HRESULT SendStop(Conversation& talk);

  std::mutex object_mutex_;
  SetPointObject object_;  // guarded by object_mutex_
};

}  // namespace ulix::isotech

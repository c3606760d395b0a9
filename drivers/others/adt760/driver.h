// The driver of the Additel ADT760 pressure calibrator on USB. It reads pressures and an electrical input, and sets
// pressure, current and vent.
#pragma once

#include <atomic>
#include <string>
#include <string_view>

#include "drivers/identified_driver.h"
#include "drivers/others/adt760/tables.h"
#include "platform/mutex.h"

namespace ulix::adt760 {

class Adt760Driver final : public IdentifiedDriver {
 public:
  explicit Adt760Driver(const DriverServices& services);

  Expected<std::string> Identify() override;
  // adt760CtlErrChNum for an unknown channel and for a write to an input. SendCfg and ReadCfg are not overridden: the
  // instrument does not hold the configuration.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  ChannelTraits DescribeChannel(ChannelId id) const override;

  // The last answer to "SYST:ERR?", as it came.
  std::string LastError() const;

 private:
  Expected<bool> StartSession(Conversation& talk) override;
  IdentityQuery identity_query() const override;
  bool IsModel(std::string_view identification) const override;
  Expected<UsbIdentity> WantedDevice() const;

  Expected<float> Measure(Conversation& talk, ChannelId id);
  Expected<const ElectricalFunction*> AskFunction(Conversation& talk);
  HRESULT ReadErrorQueue(Conversation& talk);

  mutable platform::Mutex last_error_mutex_;
  std::string last_error_;                                           // guarded by last_error_mutex_
  std::atomic<const ElectricalFunction*> function_{&kFunctions[3]};  // reported last by the electrical input
};

}  // namespace ulix::adt760

// The driver of the Additel ADT761 pressure calibrator on a serial line, with frames as messages.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "drivers/driver.h"
#include "drivers/others/adt761/tables.h"

namespace ulix::adt761 {

class Adt761Driver final : public Driver {
 public:
  explicit Adt761Driver(const DriverServices& services);

  Expected<std::string> Identify() override;
  // adt761CtlErrChNum for an unknown channel and for a write to an input. SendCfg and ReadCfg are not overridden: the
  // instrument does not hold the configuration.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  // The unit of a pressure is that of the last answer; empty before the first one.
  ChannelTraits DescribeChannel(ChannelId id) const override;

 private:
  // False when the instrument refuses to identify itself.
  Expected<bool> StartSession(Conversation& talk) override;
  void EndSession(Conversation& talk) override;
  SyncQuery sync_query() const override;
  bool IsSyncReply(std::string_view reply) const override;
  // The frame of a text: prefix, text and NUL. It is sent in one write.
  std::string FrameOf(std::string_view text) const;
  bool IdentifiesOnConnect() const;
  Expected<float> Measure(Conversation& talk, ChannelId id);
  // The query of the channel for the quantity that the instrument measures at present.
  static Expected<const char*> ChooseQuery(Conversation& talk, ChannelId id);

  std::array<std::atomic<const Unit*>, kReadings.size()> units_{};
};

}  // namespace ulix::adt761

// Additel ADT761 pressure calibrator on a serial line, asked and answered by frames.
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
  // The configuration is this side's alone: there is nothing to send or to read of it.
  // adt761CtlErrChNum for a channel that is none or, when writing, an input.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  // The unit of pressures is what the last answer told; empty before.
  ChannelTraits DescribeChannel(ChannelId id) const override;

 private:
  // False when the instrument refuses to say what it is.
  Expected<bool> StartSession(Conversation& talk) override;
  void EndSession(Conversation& talk) override;
  SyncQuery sync_query() const override;
  bool IsSyncReply(std::string_view reply) const override;
  // The prefix, the text and its NUL, in one write.
  std::string FrameOf(std::string_view text) const;
  bool IdentifiesOnConnect() const;
  Expected<float> Measure(Conversation& talk, ChannelId id);
  // What the channel is asked by while the instrument measures what it does.
  static Expected<const char*> ChooseQuery(Conversation& talk, ChannelId id);

  std::array<std::atomic<const Unit*>, kReadings.size()> units_{};
};

}  // namespace ulix::adt761

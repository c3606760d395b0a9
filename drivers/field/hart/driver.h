// The driver of the HART interface unit on a serial line: a measured temperature and a set point.
#pragma once

#include <array>
#include <atomic>
#include <optional>
#include <string>

#include "drivers/driver.h"
#include "drivers/field/hart/protocol.h"
#include "drivers/field/hart/tables.h"

namespace ulix::hart {

// The unit has only two queries, and the headings of its replies are not known for certain. The driver learns them from
// replies on a line that is in sync. Until then it assumes that the heading of a set point ends with S or SP or
// contains SET, and that of a temperature does not. If both headings are the same, the session drains the line after a
// lost reply.
class HartDriver final : public Driver {
 public:
  explicit HartDriver(const DriverServices& services);

  // hartCtlErrChNum for an unknown channel.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  // The temperature unit is that of the last reading.
  ChannelTraits DescribeChannel(ChannelId id) const override;

 private:
  Expected<bool> StartSession(Conversation& talk) override;
  SyncQuery sync_query() const override;
  bool IsSyncReply(std::string_view reply) const override;
  Expected<Measurement> Take(ChannelId id, std::string_view reply);
  bool TellsSetPoint(std::string_view heading) const;
  bool TellsTemperature(std::string_view heading) const;
  bool IsSetPointReply(std::string_view reply) const;

  // Guarded by the exchange lock.
  std::array<std::optional<std::string>, kChannels.size()> headings_;  // headings of the last replies, by channel
  bool doubted_ = false;  // whether a doubtful set point was refused in this session
  std::array<std::atomic<const char*>, kChannels.size()> units_{kCelsiusText, kCelsiusText};
};

}  // namespace ulix::hart

// HART interface unit on a serial line: a measured temperature and a set point.
#pragma once

#include <array>
#include <atomic>
#include <optional>
#include <string>

#include "drivers/driver.h"
#include "drivers/field/hart/protocol.h"
#include "drivers/field/hart/tables.h"

namespace ulix::hart {

// The unit has no query but the two, and how it begins its replies to them is not known for certain. It is learned from
// replies that came in sync; until then a set point says S or SET and a temperature does not. Where both begin alike, a
// lost reply is followed by draining.
class HartDriver final : public Driver {
 public:
  explicit HartDriver(const DriverServices& services);

  // hartCtlErrChNum for a channel that is none.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  // The unit is that of the last reading.
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
  std::array<std::optional<std::string>, kChannels.size()> headings_;  // of the last reply to each query
  bool doubted_ = false;  // a set point in this session that may have been a temperature
  std::array<std::atomic<const char*>, kChannels.size()> units_{kCelsiusText, kCelsiusText};
};

}  // namespace ulix::hart

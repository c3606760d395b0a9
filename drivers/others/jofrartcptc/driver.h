// The driver of Jofra dry-block calibrators on a serial line. It reads temperatures, and reads and writes the set
// point.
#pragma once

#include <string>
#include <string_view>

#include "drivers/identified_driver.h"
#include "drivers/others/jofrartcptc/tables.h"

namespace ulix::jofrartcptc {

class JofraRtcPtcDriver final : public IdentifiedDriver {
 public:
  explicit JofraRtcPtcDriver(const DriverServices& services);

  // jofrartcptcCtlErrChNum for a channel that the series does not have.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  std::string ChannelName(ChannelId id) const override;
  ChannelTraits DescribeChannel(ChannelId id) const override;

 private:
  Expected<bool> StartSession(Conversation& talk) override;
  void EndSession(Conversation& talk) override;
  IdentityQuery identity_query() const override;
  bool IsModel(std::string_view answer) const override;
  // The dialect of the series in the settings.
  const Dialect& CurrentDialect() const;
  bool IsUsual(std::size_t fields);

  // Numbers of fields in answers to the reading query in this session; 0 before the first answer. Guarded by the
  // exchange lock.
  std::size_t usual_fields_ = 0;
  std::size_t last_fields_ = 0;
};

}  // namespace ulix::jofrartcptc

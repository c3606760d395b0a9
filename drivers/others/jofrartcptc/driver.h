// Jofra dry-block calibrator on a serial line: its temperatures are read, its set point read and set.
#pragma once

#include <string>
#include <string_view>

#include "drivers/others/jofrartcptc/tables.h"
#include "drivers/serial_driver.h"

namespace ulix::jofrartcptc {

class JofraRtcPtcDriver final : public SerialDriver {
 public:
  explicit JofraRtcPtcDriver(DriverServices services);

  Expected<std::string> Identify() override;
  // jofrartcptcCtlErrChNum for a channel that the series does not have.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  bool OffersChannel(ChannelId id) const override { return id < Spoken().channels.size(); }
  std::string ChannelName(ChannelId id) const override;

 private:
  HRESULT Greet() override;
  Landmark landmark() const override { return {.query = Spoken().identify}; }
  bool IsLandmark(std::string_view reply) const override;
  void TakeLeave() override;
  // Of the series that is set.
  const Dialect& Spoken() const;
  // One answer, without line ends and blanks around it; one of nothing else is none.
  Expected<std::string> Ask(std::string_view query);
  // Sends a command and wants that answer, or none where it is null; another is jofrartcptcCtlErrNack.
  HRESULT NotAgreed(std::string_view answer);
  HRESULT Order(std::string_view command, const char* answer);
  HRESULT Take(std::span<const Step> steps);
};

}  // namespace ulix::jofrartcptc

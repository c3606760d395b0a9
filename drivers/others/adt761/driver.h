// Additel ADT761 pressure calibrator on a serial line, asked and answered by frames.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "drivers/others/adt761/tables.h"
#include "drivers/serial_driver.h"

namespace ulix::adt761 {

class Adt761Driver final : public SerialDriver {
 public:
  explicit Adt761Driver(DriverServices services);

  Expected<std::string> Identify() override;
  // The configuration is this side's alone; nothing goes over the line.
  HRESULT SendCfg() override { return S_OK; }
  HRESULT ReadCfg() override { return S_OK; }
  // adt761CtlErrChNum for a channel that is none or, when writing, an input.
  Reading ReadChannel(ChannelId id) override;
  HRESULT WriteChannel(ChannelId id, float value) override;
  // Of pressures, what the last answer told; empty before.
  std::string ChannelUnit(ChannelId id) const override;
  int ChannelResolution(ChannelId id) const override;
  std::optional<TextId> TakeWarning() override;

 private:
  // kNotConnected when the instrument refuses to say what it is.
  HRESULT Greet() override;
  void TakeLeave() override;
  void OpenedLate(int attempt) override;
  Landmark landmark() const override;
  bool IsLandmark(std::string_view reply) const override;
  // The prefix, the text and its NUL, in one write.
  HRESULT Transmit(std::string_view text) override;
  // One answer of at most `longest` bytes, its NUL included, without that.
  Expected<std::string> Ask(std::string_view text, int longest);
  // What `parse` makes of the answer. One of which it makes nothing, and that says so neither, may be another query's.
  template <typename Parse>
  auto Ask(std::string_view text, int longest, Parse parse) -> decltype(parse(std::string_view()));
  Expected<float> Measure(ChannelId id);
  // What the channel is asked by while the instrument measures what it does.
  Expected<const char*> ChooseQuery(ChannelId id);
  HRESULT Order(std::string_view command, std::string_view acknowledgement);

  std::array<std::atomic<const Unit*>, kReadings.size()> units_{};
  std::atomic<bool> opened_late_ = false;
};

}  // namespace ulix::adt761

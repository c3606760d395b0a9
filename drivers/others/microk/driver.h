// microK bridge or milliK thermometer on a serial line: 35 measured channels, which of the two is a setting.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivers/others/microk/protocol.h"
#include "drivers/serial_driver.h"

namespace ulix::microk {

class MicrokDriver final : public SerialDriver {
 public:
  explicit MicrokDriver(DriverServices services);

  // The reply that the connection began with; the instrument is not asked again.
  Expected<std::string> Identify() override;
  // Nothing is sent to set a channel: the milliK's queries are built anew, which may ask for its probes.
  HRESULT SendCfg() override;
  HRESULT ReadCfg() override { return E_NOTIMPL; }
  // microkCtlErrMeasureNotAvailable for an id that is none, and on a milliK for a channel that is not enabled.
  Reading ReadChannel(ChannelId id) override;
  // A milliK offers the channels that are enabled.
  bool OffersChannel(ChannelId id) const override;
  std::string ChannelName(ChannelId id) const override;
  std::string ChannelUnit(ChannelId id) const override;
  int ChannelResolution(ChannelId id) const override;

  // As the instrument named it when it was connected. Kept, never compared.
  std::optional<double> instrument_version() const;

 private:
  using Record = std::shared_ptr<const std::vector<StoredValue>>;
  HRESULT Greet() override;
  Landmark landmark() const override;
  bool IsLandmark(std::string_view reply) const override;
  HRESULT PrepareQueries(const Record& record);
  bool IsPreparedFor(const Record& record) const;
  Expected<std::vector<std::string>> ReadProbeNames();
  Expected<float> MeasureMicrok(ChannelId id);
  Expected<float> MeasureMillik(ChannelId id, const Record& record);
  int Attempts();

  // Guarded by exchange_mutex_.
  std::string identification_;
  std::optional<double> version_;
  std::array<Expected<std::string>, kChannelCount> queries_;  // of the milliK
  Record prepared_for_;                                       // the record that they were built from; null: none
};

}  // namespace ulix::microk

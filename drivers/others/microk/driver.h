// The driver of the microK bridge and the milliK thermometer on a serial line: 35 measured channels. A setting selects
// one of the two.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivers/identified_driver.h"
#include "drivers/others/microk/protocol.h"
#include "platform/mutex.h"

namespace ulix::microk {

class MicrokDriver final : public IdentifiedDriver {
 public:
  explicit MicrokDriver(const DriverServices& services);

  // The identification at the start of the session. The instrument is not asked again.
  Expected<std::string> Identify() override;
  // Sends no settings. For the milliK the queries of the channels are built again, which may read the names of its
  // probes.
  HRESULT SendCfg() override;
  HRESULT ReadCfg() override { return E_NOTIMPL; }
  // microkCtlErrMeasureNotAvailable for an unknown channel, and on a milliK for one that is not enabled.
  Reading ReadChannel(ChannelId id) override;
  std::string ChannelName(ChannelId id) const override;
  // A milliK offers the channels that are enabled.
  ChannelTraits DescribeChannel(ChannelId id) const override;

  // The software version in the identification; none if it names none. Only for information.
  std::optional<double> instrument_version() const;

 private:
  using Record = std::shared_ptr<const std::vector<StoredValue>>;
  Expected<bool> StartSession(Conversation& talk) override;
  IdentityQuery identity_query() const override;
  bool IsModel(std::string_view identification) const override;
  bool IsSyncReply(std::string_view reply) const override;
  HRESULT PrepareQueries(Conversation& talk, const Record& record);
  bool IsPreparedFor(const Record& record) const;
  Expected<float> MeasureMillik(Conversation& talk, ChannelId id, const Record& record);

  mutable platform::Mutex identity_mutex_;
  std::string identification_;     // guarded by identity_mutex_
  std::optional<double> version_;  // guarded by identity_mutex_
  // Guarded by the exchange lock.
  std::array<Expected<std::string>, kChannelCount> queries_;  // the milliK's, by channel
  Record prepared_for_;                                       // the record that queries_ were built from; null: none
};

}  // namespace ulix::microk

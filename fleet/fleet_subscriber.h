// Listens to the benches of a laboratory on a broker.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <tl/expected.hpp>

#include "fleet/birth_requests.h"
#include "fleet/broker_client.h"
#include "fleet/broker_link.h"
#include "fleet/fleet_view.h"
#include "fleet/publish_config.h"

namespace ulix::fleet {

// The address of a group of benches: "mqtt://[USER@]HOST[:PORT]/GROUP". TLS is used unless the host is this machine;
// with "mqtts://" it is always used. The error is a sentence.
struct FleetAddress {
  BrokerSettings broker;
  std::string group;
};
calibration::Result<FleetAddress> ParseFleetAddress(std::string_view url);
// Whether a text begins like such an address.
bool IsFleetAddress(std::string_view text);

// Keeps a view up to date, and connects again when the broker was away. When the births of a bench are unknown or a
// message is missing, asks the bench for its births, at most once in ten seconds. Publishes nothing else.
class FleetSubscriber final : private BrokerClient {
 public:
  // `view` must outlive the subscriber.
  FleetSubscriber(const FleetAddress& address, const std::string& password, FleetView& view);
  ~FleetSubscriber() override { Stop(); }
  FleetSubscriber(const FleetSubscriber&) = delete;
  FleetSubscriber& operator=(const FleetSubscriber&) = delete;

  void Start() { link_.Start(); }
  void Stop() { link_.Stop(); }
  bool online() const { return link_.online(); }
  // Why there is no connection, in a sentence. Empty while connected, and before the first attempt has failed.
  calibration::BilingualText trouble() const;

 private:
  std::vector<std::string> topics() const override;
  void Online(BrokerConnection& connection) override;
  void Offline() override;
  void Received(const std::string& topic, std::string_view payload, bool retained) override;
  Health Tick(SteadyTime now) override;
  void AskForBirths(const std::string& node);

  const std::string group_;
  FleetView& view_;
  mutable std::mutex mutex_;
  calibration::BilingualText trouble_;  // Guarded by mutex_.
  // Used by the link's thread only.
  BrokerConnection* connection_ = nullptr;
  BirthRequests requests_;
  BrokerLink link_;  // destroyed first, because its thread uses the members above
};

}  // namespace ulix::fleet

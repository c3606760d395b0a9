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

// "mqtt://[USER@]HOST[:PORT]/GROUP". TLS is on unless the host is this machine; "mqtts://" has it always. The error is
// a sentence.
struct FleetAddress {
  BrokerSettings broker;
  std::string group;
};
tl::expected<FleetAddress, std::string> ParseFleetAddress(std::string_view url);
// Whether a text begins as such an address.
bool IsFleetAddress(std::string_view text);

// Keeps a view up to date, and connects again when the broker was away. Asks a bench for its births, at most once in
// ten seconds, when it does not know them or a message is missing. Nothing else is written.
class FleetSubscriber final : private BrokerClient {
 public:
  // `view` outlives the subscriber.
  FleetSubscriber(const FleetAddress& address, const std::string& password, FleetView& view);
  ~FleetSubscriber() override { Stop(); }
  FleetSubscriber(const FleetSubscriber&) = delete;
  FleetSubscriber& operator=(const FleetSubscriber&) = delete;

  void Start() { link_.Start(); }
  void Stop() { link_.Stop(); }
  bool online() const { return link_.online(); }
  // Why it is not connected, in a sentence; empty while it is, and before the first attempt failed.
  std::string trouble() const;

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
  std::string trouble_;  // Guarded by mutex_.
  // Of the link's thread.
  BrokerConnection* connection_ = nullptr;
  BirthRequests requests_;
  BrokerLink link_;  // ends first: it calls the others
};

}  // namespace ulix::fleet

// The interfaces between a client of an MQTT broker and its connection.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calibration/problem.h"

namespace ulix::fleet {

enum class LogLevel { kError = 3, kWarning = 4, kInfo = 6 };  // the numbers of syslog
using Log = std::function<void(LogLevel, const calibration::BilingualText&)>;

// The connection to a broker, for its client. Publish and RequestConfirmation do not wait.
class BrokerConnection {
 public:
  virtual ~BrokerConnection() = default;
  // Publishes a message. False when the connection did not accept it.
  virtual bool Publish(const std::string& topic, const std::string& payload, int qos) = 0;
  // Asks the broker to confirm when it has received everything published before. False when this is not possible now.
  virtual bool RequestConfirmation() = 0;
};

// A client that a BrokerLink (fleet/broker_link.h) connects. The link calls all members on its own thread.
class BrokerClient {
 public:
  using SteadyTime = std::chrono::steady_clock::time_point;
  // A message that the broker sends to all subscribers when the connection is lost.
  struct Will {
    std::string topic, payload;
  };
  enum class Health { kGood, kStuck };

  virtual ~BrokerClient() = default;
  // Called before the first CONNECT, and again before a CONNECT after a session that the broker had accepted.
  virtual void BeginSession() {}
  virtual std::optional<Will> will() const { return std::nullopt; }
  // The topics to subscribe to, with QoS 1; at least one.
  virtual std::vector<std::string> topics() const = 0;
  // Called after CONNACK and the confirmed subscriptions. `connection` is valid until Offline returns.
  virtual void Online(BrokerConnection& connection) = 0;
  virtual void Offline() = 0;
  // Called for each received message.
  virtual void Received(const std::string& topic, std::string_view payload, bool retained) = 0;
  // The broker has received everything that was published before the last RequestConfirmation.
  virtual void Confirmed() {}
  // Called about ten times a second during a session. kStuck ends the session.
  virtual Health Tick(SteadyTime) { return Health::kGood; }
  // Whether something was published that the broker has not confirmed.
  virtual bool HasUnconfirmed() const { return false; }
  // Called before the link ends the session on purpose.
  virtual void SayDeath() {}
};

}  // namespace ulix::fleet

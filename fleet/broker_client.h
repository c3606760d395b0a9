// A client of an MQTT broker and its connection: what each asks of the other.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ulix::fleet {

enum class LogLevel { kError = 3, kWarning = 4, kInfo = 6 };  // the numbers of syslog
using Log = std::function<void(LogLevel, const std::string&)>;

// The connection to a broker, as far as a client uses it. Publish and RequestConfirmation do not wait.
class BrokerConnection {
 public:
  virtual ~BrokerConnection() = default;
  // False when the message was not taken.
  virtual bool Publish(const std::string& topic, const std::string& payload, int qos) = 0;
  // Makes the broker answer once it has taken all that was published before. False when that cannot be asked now.
  virtual bool RequestConfirmation() = 0;
};

// What a BrokerLink (fleet/broker_link.h) connects. It calls all members on its own thread.
class BrokerClient {
 public:
  using SteadyTime = std::chrono::steady_clock::time_point;
  // A message that the broker sends to everybody when the connection is lost.
  struct Will {
    std::string topic, payload;
  };
  enum class Health { kGood, kStuck };

  virtual ~BrokerClient() = default;
  // Before the first CONNECT, and before the next one after a session that the broker accepted.
  virtual void BeginSession() {}
  virtual std::optional<Will> will() const { return std::nullopt; }
  // What is subscribed to, QoS 1; at least one.
  virtual std::vector<std::string> topics() const = 0;
  // After CONNACK and the subscriptions. `connection` is used until Offline returns.
  virtual void Online(BrokerConnection& connection) = 0;
  virtual void Offline() = 0;
  // A message that came.
  virtual void Received(const std::string& topic, std::string_view payload, bool retained) = 0;
  // The broker has taken all that was published before the last RequestConfirmation.
  virtual void Confirmed() {}
  // Some ten times a second during a session. kStuck ends the session.
  virtual Health Tick(SteadyTime) { return Health::kGood; }
  // Whether something was published that the broker has not confirmed.
  virtual bool HasUnconfirmed() const { return false; }
  // Before a deliberate end.
  virtual void SayDeath() {}
};

}  // namespace ulix::fleet

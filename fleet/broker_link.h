// The connection of a client to an MQTT broker, kept up by a thread of its own.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "fleet/broker_client.h"
#include "fleet/mqtt_client.h"
#include "fleet/publish_config.h"

struct mosquitto;

namespace ulix::fleet {

// Connects, and connects again after 1, 2, 4 ... 30 s; after a session of half a minute it begins with 1 s again. Every
// connection that the broker accepts is a session of the user with a will of its own. A connection that gives no
// CONNACK or no SUBACK within ten seconds is given up.
class BrokerLink final : private BrokerConnection {
 public:
  static constexpr std::chrono::seconds kMaxNameLookup{120};

  // `folder` is where the files are that the settings name. `user` and what `log` uses outlive the link.
  BrokerLink(BrokerSettings settings, std::string password, std::string folder, BrokerClient& user, Log log);
  ~BrokerLink() override { Stop(); }
  BrokerLink(const BrokerLink&) = delete;
  BrokerLink& operator=(const BrokerLink&) = delete;

  void Start();
  // Waits at most two seconds for what the broker has not confirmed, lets the user say its death, disconnects.
  void Stop();
  // Whether the thread went on since the last call, or looks up the broker's name for less than kMaxNameLookup, for a
  // watchdog. One thread calls it.
  bool IsMoving();
  bool online() const { return online_; }

 private:
  struct Callbacks;
  bool Publish(const std::string& topic, const std::string& payload, int qos) override;
  bool RequestConfirmation() override;

  void Run();
  void RunSession();
  int Connect();
  bool Prepare();
  bool SetUp();
  void Loop();
  void NoteCause(int result);
  void NoteLength(std::chrono::steady_clock::duration session);
  void Farewell();
  bool PauseBeforeRetry();
  void Say(LogLevel level, const std::string& text) const;
  // Says it once until something else happens.
  void SayOnce(LogLevel level, const std::string& text);

  const BrokerSettings settings_;
  const std::string password_;
  const std::string folder_;
  BrokerClient& user_;
  const Log log_;
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::atomic<bool> stopping_ = false;
  std::atomic<bool> online_ = false;
  std::atomic<std::uint64_t> turns_ = 0;
  std::uint64_t last_turns_ = 0;                            // of IsMoving
  std::atomic<std::chrono::steady_clock::rep> lookup_ = 0;  // when the name's look-up began; 0: none is under way

  // Of the thread. The client is used by other threads too, through Publish, between Online and Offline of the user.
  MqttClient client_;
  int subscriptions_ = 0;                      // that were answered in this session
  bool failed_ = false;                        // the session is over
  bool begun_ = false;                         // a session
  bool accepted_ = false;                      // by the broker
  std::atomic<int> acknowledged_message_ = 0;  // id of the message whose acknowledgement is awaited; 0: none
  std::string reason_;                         // why this session came to nothing
  std::string said_;
  int failures_ = 0;        // sessions that ended before kSteadySession, one after the other
  int short_sessions_ = 0;  // of these, the ones that the broker accepted

  std::mutex error_mutex_;
  std::string library_error_;  // the first one of this session. Guarded by error_mutex_.
};

}  // namespace ulix::fleet

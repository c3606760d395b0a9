// Keeps a client connected to an MQTT broker, with a thread of its own.
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

// After a failed or lost connection the link connects again after 1, 2, 4 ... 30 s. A session of half a minute or more
// resets this to 1 s. Each accepted connection is one session of the client, with its own will. An attempt without
// CONNACK or SUBACK within ten seconds is given up.
class BrokerLink final : private BrokerConnection {
 public:
  static constexpr std::chrono::seconds kMaxNameLookup{120};

  // `folder` is the folder of the files that the settings name. `user` and everything that `log` uses must outlive the
  // link.
  BrokerLink(BrokerSettings settings, std::string password, std::string folder, BrokerClient& user, Log log);
  ~BrokerLink() override { Stop(); }
  BrokerLink(const BrokerLink&) = delete;
  BrokerLink& operator=(const BrokerLink&) = delete;

  void Start();
  // Waits at most two seconds for missing confirmations, calls SayDeath, and disconnects.
  void Stop();
  // For a watchdog: whether the thread has made progress since the last call, or has been looking up the broker's name
  // for less than kMaxNameLookup. Call it on one thread only.
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
  void Say(LogLevel level, const calibration::BilingualText& text) const;
  // Logs the text, unless it was the last one logged.
  void SayOnce(LogLevel level, const calibration::BilingualText& text);

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
  std::uint64_t last_turns_ = 0;  // at the last call of IsMoving
  // When the look-up of the name began; 0: none is in progress.
  std::atomic<std::chrono::steady_clock::rep> lookup_ = 0;

  // Used by the thread. Other threads also use the client, through Publish, between Online and Offline.
  MqttClient client_;
  int subscriptions_ = 0;                      // confirmed subscriptions of this session
  bool failed_ = false;                        // whether the session is over
  bool begun_ = false;                         // whether a session has begun
  bool accepted_ = false;                      // whether the broker has accepted it
  std::atomic<int> acknowledged_message_ = 0;  // id of the message whose acknowledgement is awaited; 0: none
  calibration::BilingualText reason_;          // why this session failed
  calibration::BilingualText said_;
  int failures_ = 0;        // consecutive sessions shorter than kSteadySession
  int short_sessions_ = 0;  // those of them that the broker accepted

  std::mutex error_mutex_;
  std::string library_error_;  // the first one of this session. Guarded by error_mutex_.
};

}  // namespace ulix::fleet

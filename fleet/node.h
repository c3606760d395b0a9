// A bench on a broker: its births, deaths, data and commands, in the order that Sparkplug requires.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fleet/broker_client.h"
#include "fleet/message_store.h"
#include "fleet/payload.h"
#include "fleet/topic.h"

namespace ulix::fleet {

// One node with its devices. Messages are numbered and passed to the connection under one lock, so that `seq` has no
// gaps.
//
// Data that is published without a connection goes to the store of the device, and so does data that was not confirmed
// when the connection was lost. After the next birth of the device its store is sent as historical data.
//
// Any thread may call any member. The command handler is called with no lock held. The log must not call the node.
class Node final : public BrokerClient {
 public:
  // Opens the store of a device; null if the device has none.
  using StoreOpener = std::function<std::unique_ptr<MessageStore>(const std::string& device)>;
  // Executes a command. Returns the reason of a refusal, or an empty text.
  using CommandHandler = std::function<calibration::BilingualText(const std::string& device, const Metric& command)>;

  struct Options {
    std::string group;
    std::string node;
    std::uint8_t last_bd_seq = 255;                 // bdSeq of the session before; with 255 the first one is 0
    std::function<void(std::uint8_t)> keep_bd_seq;  // stores it for the next program
    std::vector<Metric> metrics;                    // of the node itself, besides those that every node has
    StoreOpener open_store;
    std::string mirror_prefix;  // prefix of the topics of the JSON mirror; empty: none
    Log log;
  };

  explicit Node(Options options);

  // Increments bdSeq.
  void BeginSession() override;
  // NDEATH, with the bdSeq of the next births.
  std::optional<Will> will() const override;
  // The topics of commands.
  std::vector<std::string> topics() const override;
  // Sends the births.
  void Online(BrokerConnection& connection) override;
  void Offline() override;
  // Publishes NDEATH.
  void SayDeath() override;

  // Reserves an id for one instrument of the bench, until the end of the program or until that instrument claims
  // another id. Returns the instrument that has the id: `instrument`, or an earlier one.
  std::string ClaimDevice(const std::string& name, const std::string& instrument);
  // Publishes the birth of a device. `metrics` are all metrics that the device can ever send, with their values. A
  // device that is alive is born again.
  void DeviceBorn(const std::string& name, std::vector<Metric> metrics);
  void DeviceDied(const std::string& name);
  // Publishes changed metrics. Metrics that are not in the birth are ignored.
  void DeviceData(const std::string& name, const std::vector<Metric>& metrics);

  void HandleCommandsWith(CommandHandler handler);
  // Takes commands. Retained ones are ignored, because a command is meant for the present moment. Refusals are logged,
  // one line for each message and at most kMaxRefusals lines in kRefusalInterval.
  void Received(const std::string& text, std::string_view bytes, bool retained) override;
  void Confirmed() override;
  // Sends historical data and asks for confirmations. kStuck when the broker has confirmed nothing for kMaxUnconfirmed,
  // because the connection is then dead.
  Health Tick(SteadyTime now) override;
  bool HasUnconfirmed() const override;

  static constexpr std::chrono::seconds kMaxUnconfirmed{10};
  static constexpr std::chrono::milliseconds kConfirmationInterval{500};
  static constexpr std::chrono::seconds kMinRebirthInterval{1};
  static constexpr std::chrono::seconds kRefusalInterval{10};
  static constexpr std::uint64_t kMaxRefusals = 20;

 private:
  struct Device {
    std::vector<Metric> metrics;                             // with their last values
    std::map<std::string, std::size_t, std::less<>> places;  // of the metrics, by name
    bool alive = false;
    bool loss_told = false;               // whether a loss of its messages was logged
    std::unique_ptr<MessageStore> store;  // null: none
  };
  struct Unconfirmed {
    std::uint64_t number = 0;
    std::string device;
    Payload payload;
    std::size_t bytes = 0;
  };

  // Sets the payload's seq and sends the message.
  bool Send(MessageType type, const std::string& device, Payload& payload);
  void SendNodeBirth();
  void SendDeviceBirth(const std::string& name, Device& device);
  void SendBirths();
  void SendMirror(const std::string& name, const std::vector<Metric>& metrics);
  void Keep(const std::string& name, Payload payload);
  void KeepUnconfirmed();
  static std::vector<Metric> Remember(Device& device, const std::vector<Metric>& metrics);
  void SendHistory();
  bool SendHistoryOf(const std::string& name, Device& device, std::size_t* bytes);
  void AskForConfirmation(SteadyTime now);
  void Execute(const std::string& device, const std::vector<Metric>& commands);
  void Refuse(const calibration::BilingualText& text);
  void Say(LogLevel level, const calibration::BilingualText& text) const;

  const Options options_;
  mutable std::mutex mutex_;  // Guards all members below.
  CommandHandler handler_;
  BrokerConnection* connection_ = nullptr;  // null while offline
  std::map<std::string, Device> devices_;
  std::map<std::string, std::string> claims_;  // the instrument of each id
  std::uint8_t bd_seq_;
  std::uint8_t next_seq_ = 0;
  bool rebirth_wanted_ = false;
  std::optional<SteadyTime> last_rebirth_;
  SteadyTime refusals_since_{};
  std::uint64_t refusals_ = 0;  // refusals since then

  std::deque<Unconfirmed> unconfirmed_;
  std::size_t unconfirmed_bytes_ = 0;
  std::uint64_t published_ = 0;         // number of messages in all
  std::uint64_t asked_up_to_ = 0;       // number of the last message that the awaited confirmation covers
  std::optional<SteadyTime> asked_at_;  // none: no confirmation is awaited
  std::optional<SteadyTime> last_asked_;
  std::uint64_t last_history_ = 0;  // number of the last unconfirmed message from a store; 0: none
};

}  // namespace ulix::fleet

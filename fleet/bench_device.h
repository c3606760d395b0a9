// One instrument of a bench: connected, scanned, published, written by command.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/instrument.h"
#include "fleet/node.h"
#include "fleet/publish_config.h"

namespace ulix {
class SimulatedLine;
}

namespace ulix::fleet {

// Keeps the instrument connected with a thread of its own and publishes what its groups report. It looks for the device
// five times a second: an unplugged one is published as dead within a second, and connected again when it is back.
class BenchDevice {
 public:
  // `node` and `log` outlive the device. `folder` is where the files are that the configuration names.
  BenchDevice(const PublishedInstrument& config, const std::string& folder, Node& node, Log log);
  ~BenchDevice();
  BenchDevice(const BenchDevice&) = delete;
  BenchDevice& operator=(const BenchDevice&) = delete;

  void Start();
  // Asks the thread to end; Stop also waits for the exchange under way, which the driver bounds.
  void RequestStop();
  void Stop();
  // Takes a command for a device, or says why it does not. None when it is for another device; an empty text: taken.
  std::optional<std::string> Command(const std::string& device, const Metric& command);
  std::uint64_t turns() const { return turns_; }

 private:
  using SteadyTime = std::chrono::steady_clock::time_point;
  class Sink;
  struct Channel {
    std::string name;  // UTF-8
    std::string unit;
    std::uint32_t period_ms = 1000;
    Metric value;            // last published
    std::int32_t error = 0;  // last published
    Date stamp = 0;          // of the last reading
    SteadyTime stamped_at{};
    bool is_told = false;  // by a report
    bool is_read = false;
    bool is_output = false;
  };
  struct Write {
    ChannelId channel;
    double value;
  };

  void Run();
  bool Connect();
  bool MakeGroups();
  bool AddGroup(const PublishedGroup& group);
  void AddOutputs();
  // The instrument's id on the broker. None, after a message, when another instrument of the bench has it.
  std::optional<std::string> ClaimDevice(const std::string& identification);
  void GiveBirth(const std::string& device, const std::string& identification);
  std::vector<Metric> BirthMetrics(const std::string& identification);
  void Watch();
  bool IsLost(SteadyTime now);
  void Lose(const std::string& why);
  void Look();
  // Publishes what changed. A report gives all that it holds where nothing changed.
  void Take(const ChannelArrays& arrays, bool report);
  struct Judged;
  // The reading's value and quality now. A good one counts as a sign of life.
  Judged Judge(Channel& channel, const ChannelArrays& arrays, std::size_t k);
  std::vector<Metric> ValuesOf(const ChannelArrays& arrays) const;
  void DoWrites();
  void DoWrite(const Write& write);
  void Pause(std::chrono::milliseconds duration);
  void Say(LogLevel level, const std::string& text) const;
  void SayOnce(LogLevel level, const std::string& text);
  Channel& ChannelOf(ChannelId id);
  void RefreshUnit(Channel& channel, ChannelId id);
  Metric ErrorMetric(const Channel& channel, UnixMs time) const;

  const PublishedInstrument config_;
  const std::string folder_;
  Node& node_;
  const Log log_;
  std::unique_ptr<SimulatedLine> simulated_;  // null: a real instrument
  std::unique_ptr<Instrument> instrument_;
  std::thread thread_;
  std::atomic<std::uint64_t> turns_ = 0;
  std::atomic<bool> stopping_ = false;
  std::string said_;
  std::vector<std::uint32_t> groups_;

  mutable std::mutex mutex_;  // Guards the members below.
  std::condition_variable changed_;
  std::string device_;  // id on the broker; empty before the first birth
  bool alive_ = false;
  std::map<ChannelId, Channel> channels_;
  SteadyTime last_good_{};  // reading
  std::deque<Write> writes_;
};

}  // namespace ulix::fleet

// One instrument of a bench: keeps it connected, scans it, publishes its readings, and writes its outputs on command.
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

// A thread of the device keeps the instrument connected and publishes the reports of its groups. It checks five times a
// second whether the device is present. An unplugged device is published as dead within a second, and connected again
// when it is back.
class BenchDevice {
 public:
  // `node` and `log` must outlive the device. `folder` is the folder of the files that the configuration names.
  BenchDevice(const PublishedInstrument& config, const std::string& folder, Node& node, Log log);
  ~BenchDevice();
  BenchDevice(const BenchDevice&) = delete;
  BenchDevice& operator=(const BenchDevice&) = delete;

  void Start();
  // RequestStop asks the thread to end. Stop also waits for its end and for the exchange in progress, whose time the
  // driver limits.
  void RequestStop();
  void Stop();
  // Executes a command. None if the command is for another device. Otherwise the reason of a refusal, or an empty text
  // if the command is accepted.
  std::optional<calibration::BilingualText> Command(const std::string& device, const Metric& command);
  std::uint64_t turns() const { return turns_; }

 private:
  using SteadyTime = std::chrono::steady_clock::time_point;
  class Sink;
  struct Channel {
    std::string name;  // UTF-8
    std::string unit;
    std::uint32_t period_ms = 1000;
    Metric value;            // last published value
    std::int32_t error = 0;  // last published error
    Date stamp = 0;          // time of the last reading
    SteadyTime stamped_at{};
    bool is_published = false;  // whether a report has published it
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
  // The instrument's id on the broker. If another instrument of the bench has it, logs a message and returns none.
  std::optional<std::string> ClaimDevice(const std::string& identification);
  void GiveBirth(const std::string& device, const std::string& identification);
  std::vector<Metric> BirthMetrics(const std::string& identification);
  void Watch();
  bool IsLost(SteadyTime now);
  void Lose(const calibration::BilingualText& why);
  void ReadChannels();
  // Publishes what changed. A report gives all that it holds where nothing changed.
  void Take(const ChannelArrays& arrays, bool report);
  struct Judged;
  // The present value and quality of a reading. A good reading also counts as a sign of life of the instrument.
  Judged Judge(Channel& channel, const ChannelArrays& arrays, std::size_t k);
  std::vector<Metric> ValuesOf(const ChannelArrays& arrays) const;
  void DoWrites();
  void DoWrite(const Write& write);
  void Pause(std::chrono::milliseconds duration);
  void Say(LogLevel level, const calibration::BilingualText& text) const;
  void SayOnce(LogLevel level, const calibration::BilingualText& text);
  Channel& ChannelOf(ChannelId id);
  void RefreshUnit(Channel& channel, ChannelId id);
  Metric ErrorMetric(const Channel& channel, UnixMs time) const;

  const PublishedInstrument config_;
  const std::string folder_;
  Node& node_;
  const Log log_;
  std::unique_ptr<SimulatedLine> simulated_;  // null for a real instrument
  std::unique_ptr<Instrument> instrument_;
  std::thread thread_;
  std::atomic<std::uint64_t> turns_ = 0;
  std::atomic<bool> stopping_ = false;
  calibration::BilingualText said_;
  std::vector<std::uint32_t> groups_;

  mutable std::mutex mutex_;  // Guards the members below.
  std::condition_variable changed_;
  std::string device_;  // its id on the broker; empty before the first birth
  bool alive_ = false;
  std::map<ChannelId, Channel> channels_;
  SteadyTime last_good_{};  // reading
  std::deque<Write> writes_;
};

}  // namespace ulix::fleet

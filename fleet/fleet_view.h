// What a host knows of the benches of a laboratory from their messages.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fleet/payload.h"
#include "fleet/topic.h"

namespace ulix::fleet {

// A channel as it was told last. The texts are safe to show: valid UTF-8 without control characters, bounded.
struct SeenChannel {
  std::optional<double> value;  // finite; none: null
  std::string unit;
  Quality quality = Quality::kStale;
  UnixMs time = 0;         // of the reading, by the bench's clock; 0: not told
  std::int32_t error = 0;  // published code of the last reading
  std::string error_text;

  bool operator==(const SeenChannel&) const = default;
};

struct SeenError {
  std::int32_t code = 0;  // published; 0: success
  std::string text;
};

struct SeenInstrument {
  bool connected = false;
  // By name: a channel that is read under its own name, one that was set as "NAME set point".
  std::map<std::string, SeenChannel> channels;
  std::map<std::string, SeenError> past_errors;  // told last with historical readings, by name
};

struct SeenBench {
  bool connected = false;
  std::optional<std::uint8_t> last_seq;
  std::optional<std::int64_t> bd_seq;  // of its birth
  std::uint64_t messages = 0;
  std::uint64_t skipped = 0;  // messages that did not follow the one before
  std::map<std::string, SeenInstrument> instruments;
};

using SeenBenches = std::map<std::string, SeenBench>;

// One channel that a message told of, or whose bench or instrument is gone.
struct FleetReport {
  std::string bench, instrument, channel;
  SeenChannel state;
  bool historical = false;  // a reading that could not be sent when it was taken
};

// The benches of one group. A value is good only while its bench and its instrument are connected to the broker and the
// broker to us. Everything else is stale, and keeps the last value.
//
// What comes is bounded, whoever sends it: at most kMaxBenches benches and kMaxNames instruments and channels in all;
// more are left out. Any thread may call any member.
class FleetView {
 public:
  static constexpr std::size_t kMaxBenches = 10'000;
  static constexpr std::size_t kMaxNames = 100'000;
  static constexpr std::size_t kMaxReports = 100'000;

  // With `keeps_reports`, TakeReports has every report, otherwise none.
  explicit FleetView(std::string group, bool keeps_reports = false);

  // A message. True when its bench is to be asked for its births: a message is missing, or the birth was before our
  // time.
  bool Received(std::string_view topic, std::string_view payload);
  // The connection to the broker is lost: nothing is known to be true any more.
  void Disconnected();

  SeenBenches Benches() const;
  // What was reported since the last call, in the order in which it came. When more than kMaxReports wait, the oldest
  // are dropped and counted.
  std::vector<FleetReport> TakeReports(std::uint64_t* dropped);
  const std::string& group() const { return group_; }

 private:
  bool Take(const Topic& topic, const Payload& payload, SeenBench& bench);
  void TakeBirth(const Payload& payload, const std::string& name, SeenBench& bench);
  void TakeErrors(const Payload& payload, SeenInstrument& instrument, std::set<std::string>& told);
  void TakeMetrics(const Topic& topic, const Payload& payload, SeenInstrument& instrument);
  void TakeDeath(const Topic& topic, const Payload& payload, SeenBench& bench);
  void BenchGone(const std::string& name, SeenBench& bench);
  void InstrumentGone(const std::string& bench, const std::string& name, SeenInstrument& instrument);
  SeenChannel* ChannelOf(SeenInstrument& instrument, const std::string& name);
  void Report(FleetReport report);

  const std::string group_;
  const bool keeps_reports_;
  mutable std::mutex mutex_;  // Guards all members below.
  SeenBenches benches_;
  std::size_t names_ = 0;  // instruments and channels
  std::deque<FleetReport> reports_;
  std::uint64_t dropped_ = 0;
};

// A number as short as it can be: a value that an instrument gave as a float has no more digits than that.
std::string NumberText(double value);

// The benches in the text format of Prometheus, version 0.0.4. Only good values are there. `online` is whether this
// program is connected to the broker.
std::string MetricsText(const std::string& group, const SeenBenches& benches, bool online);

}  // namespace ulix::fleet

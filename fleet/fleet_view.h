// The state of the benches of a laboratory, as their messages describe it.
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

// The last received state of a channel. Texts are safe to show: valid UTF-8 of limited length without control
// characters.
struct SeenChannel {
  std::optional<double> value;  // always finite; none: the value is null
  std::string unit;
  Quality quality = Quality::kStale;
  UnixMs time = 0;         // time of the reading by the bench's clock; 0: not known
  std::int32_t error = 0;  // published code of the last reading
  std::string error_text;

  bool operator==(const SeenChannel&) const = default;
};

struct SeenError {
  std::int32_t code = 0;  // published code; 0: success
  std::string text;
};

struct SeenInstrument {
  bool connected = false;
  // Channels by name. A set point has the name "NAME set point".
  std::map<std::string, SeenChannel> channels;
  std::map<std::string, SeenError> past_errors;  // last errors of historical readings, by channel name
};

struct SeenBench {
  bool connected = false;
  std::optional<std::uint8_t> last_seq;
  std::optional<std::int64_t> bd_seq;  // bdSeq of its birth
  std::uint64_t messages = 0;
  std::uint64_t skipped = 0;  // how often messages were missing
  std::map<std::string, SeenInstrument> instruments;
};

using SeenBenches = std::map<std::string, SeenBench>;

// A change of one channel: by a message, or because its bench or instrument is gone.
struct FleetReport {
  std::string bench, instrument, channel;
  SeenChannel state;
  bool historical = false;  // a reading that was sent later than it was taken
};

// The benches of one group. A value is good only while the bench, the instrument and this program are connected to the
// broker. Otherwise the channel is stale and keeps its last value.
//
// The memory is limited, whatever is sent: at most kMaxBenches benches, and kMaxNames instruments and channels in all;
// more are ignored. Any thread may call any member.
class FleetView {
 public:
  static constexpr std::size_t kMaxBenches = 10'000;
  static constexpr std::size_t kMaxNames = 100'000;
  static constexpr std::size_t kMaxReports = 100'000;

  // With `keeps_reports`, reports are stored for TakeReports.
  explicit FleetView(std::string group, bool keeps_reports = false);

  // Takes a message. True if the bench must be asked for its births, because a message is missing or its birth was not
  // received.
  bool Received(std::string_view text, std::string_view bytes);
  // The connection to the broker is lost: all channels become stale.
  void Disconnected();

  SeenBenches Benches() const;
  // Returns the reports since the last call, in the order of arrival. When more than kMaxReports wait, the oldest are
  // dropped and counted.
  std::vector<FleetReport> TakeReports(std::uint64_t* dropped);
  const std::string& group() const { return group_; }

 private:
  bool Take(const Topic& topic, const Payload& payload, SeenBench& bench);
  void TakeBirth(const Payload& payload, const std::string& name, SeenBench& bench);
  void TakeErrors(const Payload& payload, SeenInstrument& instrument, std::set<std::string>& changed);
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
  std::size_t names_ = 0;  // number of instruments and channels
  std::deque<FleetReport> reports_;
  std::uint64_t dropped_ = 0;
};

// A number with the fewest digits that read back as the same value. A value that was a float gets the digits of a
// float.
std::string NumberText(double value);

// The benches in the text format of Prometheus, version 0.0.4. It contains only good values. `online` says whether this
// program is connected to the broker.
std::string MetricsText(const std::string& group, const SeenBenches& benches, bool online);

}  // namespace ulix::fleet

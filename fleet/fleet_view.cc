#include "fleet/fleet_view.h"

#include <cmath>
#include <limits>
#include <utility>

#include "base/numbers.h"
#include "fleet/shown_text.h"

namespace ulix::fleet {
namespace {

constexpr std::string_view kValueStart = "Inputs/", kValueEnd = "/Value";
constexpr std::string_view kSetPointStart = "Outputs/", kSetPointEnd = "/Set point";
constexpr std::string_view kErrorStart = "Channel/", kErrorEnd = "/Error code";
constexpr char kSetPointMark[] = " set point";
constexpr UnixMs kLastTime = 253'402'300'799'999;  // end of the year 9999

// The channel in a name that consists of `start`, channel and `end`; none for any other name.
std::optional<std::string> Between(std::string_view name, std::string_view start, std::string_view end) {
  const bool fits = name.starts_with(start) && name.ends_with(end) && name.size() > start.size() + end.size();
  if (!fits) return std::nullopt;
  return ShownText(name.substr(start.size(), name.size() - start.size() - end.size()));
}

std::string PropertyText(const Metric& metric, std::string_view key) {
  const MetricValue* text = metric.Property(key);
  return text && std::holds_alternative<std::string>(*text) ? ShownText(std::get<std::string>(*text)) : "";
}

std::optional<std::int64_t> BdSeqIn(const Payload& payload) {
  for (const Metric& metric : payload.metrics) {
    const auto number = metric.name == "bdSeq" ? NumberIn(metric.value) : std::nullopt;
    if (number && *number >= 0 && *number <= 255) return static_cast<std::int64_t>(*number);
  }
  return std::nullopt;
}

// The reading in a metric. Its error and the text are in another metric.
SeenChannel ReadingIn(const Metric& metric, const SeenChannel& before) {
  SeenChannel channel = before;
  channel.value = NumberIn(metric.value);
  channel.quality = metric.quality();
  if (channel.value && !std::isfinite(*channel.value)) channel.value.reset();
  if (!channel.value && channel.quality == Quality::kGood) channel.quality = Quality::kBad;
  const std::string unit = PropertyText(metric, kUnitKey);
  if (!unit.empty()) channel.unit = unit;
  channel.time = metric.time <= kLastTime ? metric.time : 0;
  return channel;
}

// A historical reading, which could not be sent at its time. `error` is the last error that was received before it.
SeenChannel PastReading(const Metric& metric, const std::string& unit, const SeenError& error) {
  SeenChannel channel = ReadingIn(metric, {.unit = unit});
  if (channel.quality == Quality::kGood) return channel;
  channel.error = error.code;
  channel.error_text = error.text;
  return channel;
}

// The published code in a value; 0 if it holds none. Some programs write it as an unsigned number.
std::int32_t CodeIn(const MetricValue& value) {
  using Limits = std::numeric_limits<std::int32_t>;
  if (const auto* code = std::get_if<std::int32_t>(&value)) return *code;
  const auto* wide = std::get_if<std::int64_t>(&value);
  const bool fits = wide && *wide >= Limits::min() && *wide <= std::numeric_limits<std::uint32_t>::max();
  return fits ? static_cast<std::int32_t>(*wide) : 0;
}

}  // namespace

FleetView::FleetView(std::string group, bool keeps_reports) : group_(std::move(group)), keeps_reports_(keeps_reports) {}

void FleetView::Report(FleetReport report) {
  if (!keeps_reports_) return;
  reports_.push_back(std::move(report));
  if (reports_.size() <= kMaxReports) return;
  reports_.pop_front();
  ++dropped_;
}

// --- what is gone ---

void FleetView::InstrumentGone(const std::string& bench, const std::string& name, SeenInstrument& instrument) {
  instrument.connected = false;
  for (auto& [channel_name, channel] : instrument.channels) {
    if (std::exchange(channel.quality, Quality::kStale) == Quality::kStale) continue;
    Report({bench, name, channel_name, channel});
  }
}

void FleetView::BenchGone(const std::string& name, SeenBench& bench) {
  bench.connected = false;
  bench.last_seq.reset();
  for (auto& [instrument_name, instrument] : bench.instruments) InstrumentGone(name, instrument_name, instrument);
}

void FleetView::Disconnected() {
  const std::lock_guard lock(mutex_);
  for (auto& [name, bench] : benches_) BenchGone(name, bench);
}

// The death of an earlier session may come after the birth of the next one.
void FleetView::TakeDeath(const Topic& topic, const Payload& payload, SeenBench& bench) {
  if (!bench.bd_seq || BdSeqIn(payload) == bench.bd_seq) BenchGone(topic.node, bench);
}

// --- what comes ---

SeenChannel* FleetView::ChannelOf(SeenInstrument& instrument, const std::string& name) {
  const auto found = instrument.channels.find(name);
  if (found != instrument.channels.end()) return &found->second;
  if (names_ >= kMaxNames) return nullptr;
  ++names_;
  return &instrument.channels[name];
}

// Reads the errors of channels. One error metric is for both the reading and the set point of a channel.
void FleetView::TakeErrors(const Payload& payload, SeenInstrument& instrument, std::set<std::string>& changed) {
  for (const Metric& metric : payload.metrics) {
    const auto channel = Between(metric.name, kErrorStart, kErrorEnd);
    if (!channel) continue;
    for (const std::string& name : {*channel, *channel + kSetPointMark}) {
      const auto found = instrument.channels.find(name);
      if (found == instrument.channels.end()) continue;
      SeenError error{CodeIn(metric.value), PropertyText(metric, "text")};
      if (metric.historical) {
        instrument.past_errors[name] = std::move(error);
      } else {
        found->second.error = error.code;
        found->second.error_text = std::move(error.text);
        changed.insert(name);
      }
    }
  }
}

void FleetView::TakeMetrics(const Topic& topic, const Payload& payload, SeenInstrument& instrument) {
  std::set<std::string> changed;
  std::vector<std::pair<std::string, const Metric*>> values;
  for (const Metric& metric : payload.metrics) {
    auto name = Between(metric.name, kValueStart, kValueEnd);
    if (const auto output = Between(metric.name, kSetPointStart, kSetPointEnd)) {
      // An output that was never set has no value.
      const bool is_set = !std::holds_alternative<std::monostate>(metric.value) || metric.quality() == Quality::kBad;
      if (is_set || instrument.channels.contains(*output + kSetPointMark)) name = *output + kSetPointMark;
    }
    if (name && ChannelOf(instrument, *name)) values.emplace_back(*name, &metric);
  }
  // The errors first: an error belongs to the values of the same message, wherever it is in the message.
  TakeErrors(payload, instrument, changed);
  for (const auto& [name, metric] : values) {
    SeenChannel& channel = instrument.channels[name];
    if (metric->historical) {
      Report({topic.node, topic.device, name, PastReading(*metric, channel.unit, instrument.past_errors[name]), true});
      continue;
    }
    channel = ReadingIn(*metric, channel);
    changed.insert(name);
  }
  for (const std::string& name : changed) Report({topic.node, topic.device, name, instrument.channels[name]});
}

// A requested birth changes nothing. In a new session the birth of the bench comes before those of its instruments.
void FleetView::TakeBirth(const Payload& payload, const std::string& name, SeenBench& bench) {
  const auto bd_seq = BdSeqIn(payload);
  if (bench.bd_seq && bd_seq != bench.bd_seq) BenchGone(name, bench);
  bench.bd_seq = bd_seq;
}

bool FleetView::Take(const Topic& topic, const Payload& payload, SeenBench& bench) {
  if (topic.type == MessageType::kNodeDeath) return TakeDeath(topic, payload, bench), false;
  const bool birth = topic.type == MessageType::kNodeBirth;
  if (birth) TakeBirth(payload, topic.node, bench);
  const bool follows = birth || (bench.last_seq && payload.seq == static_cast<std::uint8_t>(*bench.last_seq + 1));
  if (!follows && bench.last_seq) ++bench.skipped;
  bench.connected = true;
  bench.last_seq = payload.seq;
  ++bench.messages;
  if (topic.device.empty()) return !follows;
  if (!bench.instruments.contains(topic.device) && names_++ >= kMaxNames) return --names_, !follows;
  SeenInstrument& instrument = bench.instruments[topic.device];
  if (topic.type == MessageType::kDeviceDeath) {
    InstrumentGone(topic.node, topic.device, instrument);
  } else {
    instrument.connected = true;
    TakeMetrics(topic, payload, instrument);
  }
  return !follows;
}

bool FleetView::Received(std::string_view text, std::string_view bytes) {
  const auto topic = ParseTopic(text);
  if (!topic || topic->group != group_) return false;
  if (topic->type == MessageType::kNodeCommand || topic->type == MessageType::kDeviceCommand) return false;
  const auto payload = Decode(bytes);
  if (!payload) return false;
  const std::lock_guard lock(mutex_);
  if (!benches_.contains(topic->node) && benches_.size() >= kMaxBenches) return false;
  return Take(*topic, *payload, benches_[topic->node]);
}

SeenBenches FleetView::Benches() const {
  const std::lock_guard lock(mutex_);
  return benches_;
}

std::vector<FleetReport> FleetView::TakeReports(std::uint64_t* dropped) {
  const std::lock_guard lock(mutex_);
  *dropped = std::exchange(dropped_, 0);
  const auto reports = std::exchange(reports_, {});
  return {reports.begin(), reports.end()};
}

std::string NumberText(double value) {
  constexpr int kDigits = 15;
  const auto single = static_cast<float>(value);
  return static_cast<double>(single) == value ? FormatShortest(single) : FormatGeneral(value, kDigits);
}

}  // namespace ulix::fleet

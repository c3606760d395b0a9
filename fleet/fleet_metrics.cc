#include "base/numbers.h"
#include "fleet/fleet_view.h"

namespace ulix::fleet {
namespace {

// The value of a label, with backslash and quote escaped. The texts of a view have no line ends.
std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '\\' || c == '"' ? std::string("\\") + c : std::string(1, c);
  return quoted + "\"";
}

// One family of samples, with its heading.
class Family {
 public:
  Family(std::string name, const char* type, const char* help)
      : name_(std::move(name)), text_("# HELP " + name_ + " " + help + "\n# TYPE " + name_ + " " + type + "\n") {}
  void Add(const std::string& labels, const std::string& value) {
    text_ += name_;
    text_ += "{" + labels + "} " + value + "\n";
  }
  const std::string& text() const { return text_; }

 private:
  const std::string name_;
  std::string text_;
};

struct Families {
  Family broker{"ulix_broker_connected", "gauge", "Whether this program is connected to the broker."};
  Family bench{"ulix_bench_connected", "gauge", "Whether the bench is connected to the broker."};
  Family messages{"ulix_bench_messages_total", "counter", "Messages that came from the bench."};
  Family skipped{"ulix_bench_skipped_total", "counter", "Messages that did not follow the one before."};
  Family instrument{"ulix_instrument_connected", "gauge", "Whether the instrument is connected to its bench."};
  Family value{"ulix_channel_value", "gauge", "Value of the channel in its unit, while it is good."};
  Family quality{"ulix_channel_quality", "gauge", "Quality of the value: 192 good, 0 bad, 500 stale."};
  Family time{"ulix_channel_reading_timestamp_seconds", "gauge", "When the channel was read, by the bench's clock."};
};

const char* Flag(bool yes) { return yes ? "1" : "0"; }

void AddChannel(Families& to, const std::string& instrument, const std::string& name, const SeenChannel& channel) {
  const std::string labels = instrument + ",channel=" + Quoted(name) + ",unit=" + Quoted(channel.unit);
  to.quality.Add(labels, std::to_string(static_cast<int>(channel.quality)));
  const bool good = channel.value && channel.quality == Quality::kGood;
  if (good) to.value.Add(labels, NumberText(*channel.value));
  constexpr double kMsPerSecond = 1000;
  if (channel.time != 0) to.time.Add(labels, FormatFixed(static_cast<double>(channel.time) / kMsPerSecond, 3));
}

void AddBench(Families& to, const std::string& group, const std::string& name, const SeenBench& bench) {
  const std::string labels = group + ",bench=" + Quoted(name);
  to.bench.Add(labels, Flag(bench.connected));
  to.messages.Add(labels, std::to_string(bench.messages));
  to.skipped.Add(labels, std::to_string(bench.skipped));
  for (const auto& [instrument_name, instrument] : bench.instruments) {
    const std::string instrument_labels = labels + ",instrument=" + Quoted(instrument_name);
    to.instrument.Add(instrument_labels, Flag(instrument.connected));
    for (const auto& [channel, seen] : instrument.channels) AddChannel(to, instrument_labels, channel, seen);
  }
}

}  // namespace

std::string MetricsText(const std::string& group, const SeenBenches& benches, bool online) {
  Families all;
  const std::string label = "group=" + Quoted(group);
  all.broker.Add(label, Flag(online));
  for (const auto& [name, bench] : benches) AddBench(all, label, name, bench);
  std::string text;
  for (const Family* family :
       {&all.broker, &all.bench, &all.messages, &all.skipped, &all.instrument, &all.value, &all.quality, &all.time}) {
    text += family->text();
  }
  return text;
}

}  // namespace ulix::fleet

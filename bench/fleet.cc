// The cost of ulix-publish with 100 channels at 10 Hz. For comparison a bare loop publishes the same number of values
// and messages with the MQTT library only. Both take turns at one broker, and a host at the broker measures the age of
// each arriving value. The instruments are simulated inside ulix-publish, so the figure includes their cost. The exit
// code is 1 above the bounds.
#include <nlohmann/json.hpp>

#include <fcntl.h>

#include "bench/fleet_rig.h"

namespace ulix::bench {
namespace {

constexpr int kTurns = 3;
constexpr int kChannels = 100;
constexpr int kPeriodMs = 100;
constexpr double kMaxShare = 3;       // % of a core
constexpr double kMaxLatencyMs = 20;  // from the reading to the host
constexpr std::chrono::milliseconds kGlance(20);

struct Arrangement {
  const char* what;
  const char* model;
  int instruments;
  bool bounded;
};
constexpr Arrangement kArrangements[] = {{"5 loggers of 20 channels", "flukehydra", 5, true},
                                         {"100 instruments of one channel", "kelvo10", 100, false}};

struct Cost {
  double share = 0;  // % of a core
  double messages = 0;
  std::vector<double> latencies;
};

int ChannelsOf(const Arrangement& arrangement) { return kChannels / arrangement.instruments; }

std::filesystem::path WriteConfig(const std::filesystem::path& folder, const Arrangement& arrangement, int port) {
  using Json = nlohmann::json;
  Json channels = Json::array({"IN"});
  if (ChannelsOf(arrangement) > 1) channels.clear();
  for (int k = 0; k < ChannelsOf(arrangement) && ChannelsOf(arrangement) > 1; ++k) {
    channels.push_back("CH" + std::to_string(k));
  }
  const Json group{{"channels", channels}, {"period", kPeriodMs / 1000.0}};
  Json instruments;
  for (int k = 0; k < arrangement.instruments; ++k) {
    const std::string name = "i" + std::to_string(k);
    instruments[name] = {{"model", arrangement.model}, {"port", "sim"}, {"device", name}, {"groups", {group}}};
  }
  const auto path = folder / "bench.json";
  std::ofstream(path) << Json{{"group", "lab"},
                              {"node", "bench"},
                              {"store", {{"folder", "store"}}},
                              {"broker", {{"host", "127.0.0.1"}, {"port", port}}},
                              {"instruments", instruments}};
  return path;
}

// Publishes as a loop that does nothing else: at each tick a message for each instrument, with its values.
void PublishBare(const Arrangement& arrangement, int port) {
  mosquitto* const client = ConnectedClient(port);
  mosquitto_loop_start(client);
  fleet::Payload payload;
  for (int k = 0; k < ChannelsOf(arrangement); ++k) {
    payload.metrics.push_back({.name = "Inputs/CH" + std::to_string(k) + "/Value", .value = 1.25});
    payload.metrics.back().SetProperty(fleet::kUnitKey, std::string("V"));
    payload.metrics.back().SetProperty(fleet::kQualityKey, 192);
  }
  for (auto next = steady_clock::now();; next += std::chrono::milliseconds(kPeriodMs)) {
    std::this_thread::sleep_until(next);
    for (int device = 0; device < arrangement.instruments; ++device) {
      payload.time = fleet::UnixNow();
      for (fleet::Metric& metric : payload.metrics) metric.time = payload.time;
      const std::string bytes = fleet::Encode(payload);
      const std::string topic = "spBv1.0/lab/DDATA/bare/i" + std::to_string(device);
      mosquitto_publish(client, nullptr, topic.c_str(), static_cast<int>(bytes.size()), bytes.data(), 0, false);
    }
  }
}

// Lets a publisher run for some seconds once its values come.
void Observe(pid_t process, Host& host, double seconds, Cost& cost) {
  const auto until = steady_clock::now() + std::chrono::seconds(60);
  for (const auto begun = host.values(); host.values() < begun + 2 * kChannels;) {
    if (steady_clock::now() > until) Leave("no values come");
    std::this_thread::sleep_for(kGlance);
  }
  host.TakeLatencies();
  const double used = ProcessorSeconds(process);
  const auto messages = host.messages();
  const auto began = steady_clock::now();
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  const std::chrono::duration<double> took = steady_clock::now() - began;
  cost.share += 100 * (ProcessorSeconds(process) - used) / took.count() / kTurns;
  cost.messages += static_cast<double>(host.messages() - messages) / took.count() / kTurns;
  const auto latencies = host.TakeLatencies();
  cost.latencies.insert(cost.latencies.end(), latencies.begin(), latencies.end());
}

std::string Details(const Cost& cost, const Cost& bare, double figure, double bare_figure) {
  return Text("bare loop %.3g; %.0f and %.0f messages/s, %.0f and %.0f values/s; over it %.2g", bare_figure,
              cost.messages, bare.messages, static_cast<double>(cost.latencies.size()),
              static_cast<double>(bare.latencies.size()), figure / bare_figure);
}

bool Report(const Arrangement& arrangement, const Cost& cost, const Cost& bare) {
  const std::string what = std::string("ulix-publish, ") + arrangement.what + " at 10 Hz";
  const double late = Percentile(cost.latencies, 0.99), bare_late = Percentile(bare.latencies, 0.99);
  const bool cheap = Show({.what = what,
                           .value = cost.share,
                           .unit = "% of a core",
                           .bound = arrangement.bounded ? kMaxShare : 0,
                           .details = Details(cost, bare, cost.share, bare.share)});
  const bool quick =
      Show({.what = "reading to host, 99th percentile",
            .value = late,
            .unit = "ms",
            .bound = arrangement.bounded ? kMaxLatencyMs : 0,
            .details = Text("median %.2f ms; bare loop %.3g ms, median %.2f ms", Percentile(cost.latencies, 0.5),
                            bare_late, Percentile(bare.latencies, 0.5))});
  return cheap && quick;
}

bool Measure(const Arrangement& arrangement, const std::string& program, double seconds) {
  const TemporaryFolder folder;
  const Broker broker(folder.path());
  const auto config = WriteConfig(folder.path(), arrangement, broker.port());
  Cost cost, bare;
  for (int turn = 0; turn < kTurns; ++turn) {
    // Each publisher is forked before the host has a thread.
    {
      const ChildProcess publisher([&] {
        const int log = open((folder.path() / "log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(log, STDERR_FILENO);
        execl(program.c_str(), program.c_str(), "run", config.c_str(), nullptr);
      });
      Host host(broker.port(), "lab");
      Observe(publisher.id(), host, seconds / kTurns, cost);
    }
    const ChildProcess loop([&] { PublishBare(arrangement, broker.port()); });
    Host host(broker.port(), "lab");
    Observe(loop.id(), host, seconds / kTurns, bare);
  }
  return Report(arrangement, cost, bare);
}

int Main(int argc, char** argv) {
  const double seconds = SecondsFrom(argc, argv, 30);
  const auto program = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "ulix-publish";
  bool held = true;
  for (const Arrangement& arrangement : kArrangements) held = Measure(arrangement, program.string(), seconds) && held;
  return held ? 0 : 1;
}

}  // namespace
}  // namespace ulix::bench

int main(int argc, char** argv) { return ulix::bench::Main(argc, argv); }

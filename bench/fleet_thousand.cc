// The cost of a thousand benches at one broker. Each bench is a publisher with a simulated instrument, which it reads
// once a second. A process holds a hundred benches; a host at the broker receives every message.
// bench_fleet_thousand [SECONDS [BENCHES]], 600 and 1000 if absent. The exit code is 1 when a bench is missing or a
// message was lost.
#include <sys/resource.h>

#include <deque>
#include <memory>

#include "bench/fleet_rig.h"
#include "fleet/publisher.h"

namespace ulix::bench {
namespace {

constexpr int kInOneProcess = 100;  // The MQTT library takes no file numbers above 1023.
constexpr std::chrono::milliseconds kBetweenStarts(400);
constexpr std::chrono::seconds kMaxStart(300);
constexpr std::chrono::seconds kTakeEvery(10);

// The broker has a file for each bench.
void AllowManyFiles() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

fleet::PublishConfig ConfigOf(int bench, int port, const std::filesystem::path& folder) {
  const std::string name = "bench-" + std::to_string(bench);
  const std::string text =
      R"({"group": "lab", "node": ")" + name + R"(", "store": {"folder": ")" + name +
      R"("}, "broker": {"host": "127.0.0.1", "port": )" + std::to_string(port) +
      R"(}, "instruments": {"i": {"model": "kelvo10", "port": "sim", "groups": [{"channels": ["IN"], "period": 1}]}}})";
  auto loaded = fleet::LoadConfig(text, folder.string());
  if (!loaded.usable()) Leave("the configuration is refused");
  return std::move(loaded.config);
}

void Publish(int first, int last, int port, const std::filesystem::path& folder) {
  std::vector<std::unique_ptr<fleet::Publisher>> publishers;
  const fleet::Log log = [](fleet::LogLevel level, const calibration::BilingualText& text) {
    if (level != fleet::LogLevel::kInfo) std::fprintf(stderr, "%s\n", text.en.c_str());
  };
  for (int k = first; k < last; ++k) {
    auto made = fleet::Publisher::Make(ConfigOf(k, port, folder), log);
    if (!made) Leave(made.error().en);
    (*made)->Start();
    publishers.push_back(std::move(*made));
    std::this_thread::sleep_for(kBetweenStarts);
  }
  pause();
}

std::size_t Connected(const fleet::SeenBenches& benches) {
  return static_cast<std::size_t>(
      std::count_if(benches.begin(), benches.end(), [](const auto& bench) { return bench.second.connected; }));
}

std::uint64_t Skipped(const fleet::SeenBenches& benches) {
  std::uint64_t skipped = 0;
  for (const auto& [name, bench] : benches) skipped += bench.skipped;
  return skipped;
}

void AwaitAll(const Host& host, std::size_t benches) {
  for (const auto until = steady_clock::now() + kMaxStart; Connected(host.view().Benches()) < benches;) {
    if (steady_clock::now() > until) Leave(Text("only %zu benches came", Connected(host.view().Benches())));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
  }
}

// The processor time and memory that some processes use from now on.
class Use {
 public:
  explicit Use(std::vector<pid_t> processes)
      : processes_(std::move(processes)), used_(Seconds()), began_(steady_clock::now()) {}
  double Share() const {
    const std::chrono::duration<double> took = steady_clock::now() - began_;
    return 100 * (Seconds() - used_) / took.count();
  }
  double Megabytes() const {
    double sum = 0;
    for (const pid_t process : processes_) sum += MegabytesOf(process);
    return sum;
  }

 private:
  double Seconds() const {
    double sum = 0;
    for (const pid_t process : processes_) sum += ProcessorSeconds(process);
    return sum;
  }
  const std::vector<pid_t> processes_;
  const double used_;
  const steady_clock::time_point began_;
};

int Main(int argc, char** argv) {
  const int seconds = SecondsFrom(argc, argv, 600);
  const int benches = argc > 2 ? std::max(std::atoi(argv[2]), 1) : 1000;
  AllowManyFiles();
  const TemporaryFolder folder;
  const Broker broker(folder.path());
  std::deque<ChildProcess> publishers;
  std::vector<pid_t> ids;
  for (int first = 0; first < benches; first += kInOneProcess) {
    publishers.emplace_back(
        [&] { Publish(first, std::min(first + kInOneProcess, benches), broker.port(), folder.path()); });
    ids.push_back(publishers.back().id());
  }
  Host host(broker.port(), "lab");
  AwaitAll(host, static_cast<std::size_t>(benches));
  host.TakeLatencies();
  const Use publishing(ids), carrying({broker.process()}), hearing({getpid()});
  const auto messages = host.messages(), values = host.values();
  std::vector<double> latencies;
  const auto began = steady_clock::now();
  while (steady_clock::now() - began < std::chrono::seconds(seconds)) {
    std::this_thread::sleep_for(std::min<std::chrono::seconds>(kTakeEvery, std::chrono::seconds(seconds)));
    const auto some = host.TakeLatencies();
    latencies.insert(latencies.end(), some.begin(), some.end());
  }
  const std::chrono::duration<double> took = steady_clock::now() - began;
  const auto seen = host.view().Benches();
  const std::string what = Text("%d benches at one broker for %.0f s", benches, took.count());
  Show({.what = what + ", all publishers",
        .value = publishing.Share(),
        .unit = "% of a core",
        .details = Text("%.0f MB", publishing.Megabytes())});
  Show({.what = "the broker",
        .value = carrying.Share(),
        .unit = "% of a core",
        .details = Text("%.0f MB; %.0f messages/s", carrying.Megabytes(),
                        static_cast<double>(host.messages() - messages) / took.count())});
  Show({.what = "the host",
        .value = hearing.Share(),
        .unit = "% of a core",
        .details = Text("%.0f MB", hearing.Megabytes())});
  Show({.what = "reading to host, 99th percentile",
        .value = Percentile(latencies, 0.99),
        .unit = "ms",
        .details = Text("median %.2f ms, greatest %.0f ms; %.0f values/s", Percentile(latencies, 0.5),
                        Percentile(latencies, 1), static_cast<double>(host.values() - values) / took.count())});
  const bool all = Show({.what = "benches connected at the end",
                         .value = static_cast<double>(Connected(seen)),
                         .bound = static_cast<double>(benches),
                         .bound_is_least = true});
  const auto skipped = static_cast<double>(Skipped(seen));
  Show({.what = "messages that did not come", .value = skipped});
  return all && skipped == 0 ? 0 : 1;
}

}  // namespace
}  // namespace ulix::bench

int main(int argc, char** argv) { return ulix::bench::Main(argc, argv); }

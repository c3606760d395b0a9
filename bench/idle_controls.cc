// What controls cost that do little: each has a group of one channel at 1 s, and a simulated Kelvo10 of its own in this
// process. Usage: bench_idle_controls [seconds]. Exit code 1 above a bound.
#include <sys/resource.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "bench/measure.h"
#include "core/instrument.h"
#include "drivers/catalogue.h"
#include "simulators/in_process_port.h"

namespace ulix::bench {
namespace {

constexpr int kInstruments = 32;
constexpr double kMostProcessorPercent = 0.3;
constexpr double kMostMegabytes = 8;

class CountingSink final : public EventSink {
 public:
  explicit CountingSink(std::atomic<long>& reports) : reports_(reports) {}
  void MeasReady(std::uint32_t) override { ++reports_; }

 private:
  std::atomic<long>& reports_;
};

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double ResidentMegabytes() {
  long total = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

std::unique_ptr<Instrument> StartOne(std::atomic<long>& reports) {
  auto bench = std::make_shared<SimulatedBench>(FindSimulator("kelvo10")(SystemClock()), SystemClock());
  auto instrument =
      std::make_unique<Instrument>(FindModel("kelvo10")->create({.open_serial_port = OpenerOf(std::move(bench))}));
  instrument->events().Advise(std::make_shared<CountingSink>(reports));
  std::uint32_t group = 0;
  const bool started = Succeeded(instrument->Connect()) && Succeeded(instrument->CreateGroup(&group)) &&
                       Succeeded(instrument->SetGroupSettings(group, {.period_ms = 1000})) &&
                       Succeeded(instrument->ConnectGroupChan(group, 0)) && Succeeded(instrument->RunGroup(group));
  return started ? std::move(instrument) : nullptr;
}

int Run(int seconds) {
  std::atomic<long> reports = 0;
  const double memory_before = ResidentMegabytes();
  std::vector<std::unique_ptr<Instrument>> instruments;
  for (int i = 0; i < kInstruments; ++i) {
    instruments.push_back(StartOne(reports));
    if (!instruments.back()) return 2;
  }
  const double cpu_before = CpuSeconds();
  const auto start = std::chrono::steady_clock::now();
  std::this_thread::sleep_until(start + std::chrono::seconds(seconds));
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  const double cpu = CpuSeconds() - cpu_before;
  const long seen = reports;
  const double memory = ResidentMegabytes();
  for (const auto& instrument : instruments) instrument->StopAllGroups();
  const bool idle = Show({Text("%d idle controls, one channel each at 1 Hz", kInstruments), 100 * cpu / taken.count(),
                          "% of a core", kMostProcessorPercent, false,
                          Text("%.1f us a scan, the simulators' share included; %ld scans of %.0f",
                               1e6 * cpu / static_cast<double>(seen), seen, kInstruments * taken.count())});
  const bool small = Show({"their memory", memory - memory_before, "MB", kMostMegabytes, false,
                           Text("%.1f MB resident, %.1f MB before the first", memory, memory_before)});
  return idle && small ? 0 : 1;
}

}  // namespace
}  // namespace ulix::bench

int main(int argc, char** argv) { return ulix::bench::Run(ulix::bench::SecondsFrom(argc, argv, 20)); }

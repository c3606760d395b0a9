// The delay that a mute instrument causes for another control. One control reads without a pause, while another one
// queries an instrument that never answers. All serial traffic shares one mutex. Usage: bench_mute_neighbour [seconds]
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "bench/measure.h"
#include "drivers/catalogue.h"
#include "simulators/in_process_port.h"

namespace ulix::bench {
namespace {

using std::chrono::steady_clock;

std::unique_ptr<Driver> Connected(const std::shared_ptr<SimulatedBench>& bench) {
  auto driver = FindModel("kelvo10")->create({.resolve_port = ResolverOf(bench)});
  if (!driver->Connect().value_or(false)) Leave("the instrument was not connected");
  return driver;
}

std::shared_ptr<SimulatedBench> Kelvo10() {
  return std::make_shared<SimulatedBench>(FindSimulator("kelvo10")(SystemClock()), SystemClock());
}

std::vector<double> ReadingTimes(Driver& driver, int seconds) {
  std::vector<double> times;
  const auto end = steady_clock::now() + std::chrono::seconds(seconds);
  for (auto start = steady_clock::now(); start < end; start = steady_clock::now()) {
    Require("ReadChannel", driver.ReadChannel(0).code);
    times.push_back(std::chrono::duration<double, std::milli>(steady_clock::now() - start).count());
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return times;
}

void ShowTimes(const char* what, const std::vector<double>& times) {
  Show({what, Percentile(times, 1.0), "ms at most", 0, false,
        Text("%zu readings, p50 %.3f ms, p90 %.1f ms", times.size(), Percentile(times, 0.5), Percentile(times, 0.9))});
}

int Run(int seconds) {
  const auto well = Connected(Kelvo10());
  ShowTimes("a reading, alone", ReadingTimes(*well, 1));
  const auto bench = Kelvo10();
  const auto mute = Connected(bench);
  bench->SetFaults({{FaultKind::kSilent}});
  std::atomic<bool> stop = false;
  std::thread asking([&] {
    while (!stop) mute->ReadChannel(0);
  });
  ShowTimes("a reading beside a mute Kelvo10", ReadingTimes(*well, seconds));
  stop = true;
  asking.join();
  return 0;
}

}  // namespace
}  // namespace ulix::bench

int main(int argc, char** argv) { return ulix::bench::Run(ulix::bench::SecondsFrom(argc, argv, 20)); }

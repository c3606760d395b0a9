// The cost of a driver: the time of ReadChannel with a simulated instrument in the same process, compared with that of
// the cheapest driver. bench_serial_exchange measures the line.
#include <memory>
#include <vector>

#include "bench/measure.h"
#include "drivers/catalogue.h"
#include "simulators/in_process_port.h"

namespace ulix::bench {
namespace {

constexpr int kRounds = 301;
constexpr int kReadings = 50;

struct Bench {
  const char* model;
  const char* key = nullptr;  // A setting. The simulated device's property of the same name gets the same value.
  const char* value = nullptr;
};
constexpr Bench kBenches[] = {{"microk"}, {"microk", "model", "1"}, {"flukehydra"}, {"hart"}, {"kambic"}};

std::unique_ptr<Driver> Connected(const Bench& wanted) {
  const auto bench = std::make_shared<SimulatedBench>(FindSimulator(wanted.model)(SystemClock()), SystemClock());
  auto driver = FindModel(wanted.model)->create({.resolve_port = ResolverOf(bench)});
  if (wanted.key) {
    driver->settings().SetText(*driver->settings().Find(wanted.key), wanted.value);
    bench->WithSimulator([&](Simulator& s) { return s.Set(wanted.key, wanted.value); });
  }
  if (!driver->Connect().value_or(false)) Leave("the instrument was not connected");
  return driver;
}

double MicrosecondsOfReading(Driver& driver) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kReadings; ++i) {
    Require("ReadChannel", driver.ReadChannel(0).code);
  }
  const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
  return taken.count() / kReadings;
}

int Run() {
  const auto plain = Connected({"kelvo10"});
  for (const Bench& wanted : kBenches) {
    const auto driver = Connected(wanted);
    const Comparison found = Compare(
        kRounds, [&] { return MicrosecondsOfReading(*driver); }, [&] { return MicrosecondsOfReading(*plain); });
    Show({std::string("reading of ") + wanted.model + (wanted.key ? " (milliK)" : ""), found.ratio, "of a Kelvo10's", 0,
          false, Text("%.2f us over %.2f us, instruments included", found.time, found.bare_time)});
  }
  return 0;
}

}  // namespace
}  // namespace ulix::bench

int main() { return ulix::bench::Run(); }

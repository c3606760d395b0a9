// Readings of one channel through an instrument, for programs in other languages to compare with: for each line of its
// input it prints the mean microseconds of some readings. bench_port_reads PORT, or sim.
#include <chrono>
#include <iostream>
#include <memory>
#include <string>

#include "bench/measure.h"
#include "calibration/instruments.h"
#include "core/instrument.h"
#include "simulators/simulated_line.h"

namespace ulix::bench {
namespace {

constexpr int kReadings = 200;
constexpr ChannelId kInput = 0;

double MicrosecondsOfReading(Instrument& instrument) {
  GroupChannel record;
  const auto start = std::chrono::steady_clock::now();
  for (int k = 0; k < kReadings; ++k) {
    Require("ReadChan", instrument.ReadChan(kInput, &record));
    Require("the reading", record.error);
  }
  const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
  return taken.count() / kReadings;
}

int Main(const std::string& port) {
  SimulatedLine line("kelvo10");
  calibration::PlannedInstrument planned;
  planned.model = "kelvo10";
  planned.port = port;
  auto made =
      calibration::MakeInstrument(planned, "", planned.simulated() ? line.ServicesOf({}) : DriverServices(), {});
  if (!made) Leave(made.error().en);
  Instrument& instrument = **made;
  if (planned.simulated()) line.Match(instrument.settings());
  Require("Connect", instrument.Connect());
  for (std::string asked; std::getline(std::cin, asked);) {
    std::cout << MicrosecondsOfReading(instrument) << std::endl;
  }
  return 0;
}

}  // namespace
}  // namespace ulix::bench

int main(int argc, char** argv) { return ulix::bench::Main(argc > 1 ? argv[1] : "sim"); }

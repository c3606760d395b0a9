#include "simulators/simulated_line.h"

#include "simulators/in_process_usb.h"
#include "simulators/simulator.h"

namespace ulix {

SimulatedLine::SimulatedLine(std::string_view model)
    : bench_(std::make_shared<SimulatedBench>(FindSimulator(model)(SystemClock()), SystemClock())) {}

DriverServices SimulatedLine::ServicesOf(DriverServices services) const {
  services.resolve_port = ResolverOf(bench_);
  services.make_socket = SocketMakerOf(bench_);
  services.load_usb_library = UsbLoaderOf(bench_, SystemClock());
  return services;
}

void SimulatedLine::Match(const Settings& settings) {
  bench_->WithSimulator([&](Simulator& simulator) {
    for (const auto& [key, value] : simulator.Properties()) {
      const SettingRow* row = settings.Find(key);
      if (row != nullptr) simulator.Set(key, settings.TextOf(*row));
    }
  });
}

}  // namespace ulix

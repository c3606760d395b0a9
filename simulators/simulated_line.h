// The port "sim": a simulated instrument on the line of a driver in this process.
#pragma once

#include <memory>
#include <string_view>

#include "drivers/settings.h"
#include "drivers/wire.h"
#include "simulators/in_process_port.h"

namespace ulix {

// Every port, network socket and USB device that the services open leads to one simulated instrument.
class SimulatedLine {
 public:
  // `model` is one of the catalogue.
  explicit SimulatedLine(std::string_view model);
  // Services whose ports, sockets and USB devices lead to this instrument. They may outlive this object.
  DriverServices ServicesOf(DriverServices services) const;
  // Adapts the simulated instrument to the settings: each property named like a setting takes the value of the setting.
  void Match(const Settings& settings);
  const std::shared_ptr<SimulatedBench>& bench() const { return bench_; }

 private:
  std::shared_ptr<SimulatedBench> bench_;
};

}  // namespace ulix

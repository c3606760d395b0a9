// The simulated instruments, as the command line uses them: the one place that knows the simulators.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "drivers/settings.h"
#include "links/usb_library.h"
#include "platform/byte_endpoint.h"
#include "platform/port_binding.h"
#include "simulators/faulty_instrument.h"
#include "simulators/in_process_port.h"
#include "simulators/replayed.h"

namespace ulix::cli {

// For `--port sim`: whatever port or USB device it opens is the link to one simulated instrument in this process.
class SimulatedLine {
 public:
  explicit SimulatedLine(const std::string& model);
  platform::PortResolver Ports() const;
  UsbLibraryLoader UsbLoader() const;
  // Makes the instrument the one that the settings are for: its properties that bear a setting's name take its value.
  void Match(const Settings& settings);

 private:
  std::shared_ptr<SimulatedBench> bench_;
};

// For a USB model on a port: the simulated instrument that `ulix simulate` serves at this device path or URL.
UsbLibraryLoader ServedUsbInstrument(const std::string& location);

// A simulated instrument that is served to this and to other programs. Any thread may call anything.
class SimulatedInstrument {
 public:
  explicit SimulatedInstrument(const std::string& model);
  // One that answers as a wire log says.
  explicit SimulatedInstrument(const std::vector<LoggedExchange>& log);

  // "KEY=VALUE" of the simulated device; UsageError for what it does not have.
  void Set(const std::string& assignment);
  // "KIND" or "KIND=ARG" each, in place of those in force; UsageError for one that there is not.
  void SetFaults(const std::vector<std::string>& faults);
  // Before it is served on a network port instead of a line.
  void OnNetwork();
  // Until `stop` is set or the instrument has vanished by a fault; the endpoint is to be destroyed then.
  void Serve(platform::ByteEndpoint& endpoint, const std::atomic<bool>& stop);
  // What came and the real instrument would not know, made visible.
  std::vector<std::string> UnknownRequests();

 private:
  FaultyInstrument instrument_;
};

}  // namespace ulix::cli

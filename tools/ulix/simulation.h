// The simulated instruments of the command line. No other part of the command line uses the simulators directly.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "links/usb_library.h"
#include "platform/byte_endpoint.h"
#include "simulators/faulty_instrument.h"
#include "simulators/replayed.h"
#include "simulators/simulated_line.h"

namespace ulix::cli {

// A loader for a USB model. The USB library that it loads leads to the simulated instrument that `ulix simulate` serves
// at this device path or URL.
UsbLibraryLoader ServedUsbInstrument(const std::string& location);

// A simulated instrument that is served to this program and to others. Any thread may call any function.
class SimulatedInstrument {
 public:
  explicit SimulatedInstrument(const std::string& model);
  // An instrument that answers as recorded in a wire log.
  explicit SimulatedInstrument(const std::vector<LoggedExchange>& log);

  // Sets a property of the simulated device, given as "KEY=VALUE". Throws UsageError for an unknown key or value.
  void Set(const std::string& assignment);
  // Replaces the faults in force. Each fault is "KIND" or "KIND=ARG". Throws UsageError for an unknown kind.
  void SetFaults(const std::vector<std::string>& faults);
  // To be called before the instrument is served on a network port instead of a serial line.
  void OnNetwork();
  // Serves the instrument until `stop` is set or a fault makes the instrument vanish. The caller then destroys the
  // endpoint.
  void Serve(platform::ByteEndpoint& endpoint, const std::atomic<bool>& stop);
  // The requests that came and that the real instrument would not know, with control characters made visible.
  std::vector<std::string> UnknownRequests();

 private:
  FaultyInstrument instrument_;
};

}  // namespace ulix::cli

// The helper library with a simulated ADT760, for a control without an instrument.
#include <memory>

#include "simulators/in_process_usb.h"
#include "simulators/simulator.h"
#include "usb_helper/forwarding.h"

namespace ulix {

UsbLibrary& TheLibrary() {
  static const std::shared_ptr<UsbLibrary> library = [] {
    Clock& clock = SystemClock();
    return *UsbLoaderOf(std::make_shared<SimulatedBench>(FindSimulator("adt760")(clock), clock), clock)();
  }();
  return *library;
}

}  // namespace ulix

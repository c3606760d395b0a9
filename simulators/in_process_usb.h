// A simulated instrument, of this process or served by another, behind the operations of the USB helper library.
#pragma once

#include <functional>
#include <memory>

#include "links/usb_library.h"
#include "simulators/in_process_port.h"

namespace ulix {

// The identity of the simulated device. A configuration that names another device gets kUsbBadIdentifier.
inline constexpr UsbIdentity kSimulatedUsbIdentity = {
    {0x8A5B2C10, 0x760A, 0x4D7E, {0x9B, 0x21, 0x55, 0x4C, 0x49, 0x58, 0x00, 0x01}}, 0x0760, 0x0001};

// Opens the line to the instrument; none where it is gone.
using UsbLineOpener = std::function<std::unique_ptr<platform::SerialPort>()>;

// A loader whose library has the one instrument at the other end of that line; its transfers end with a line feed, when
// the room is full, or when their time has passed on `clock`.
UsbLibraryLoader UsbLoaderOf(UsbLineOpener open, Clock& clock);
UsbLibraryLoader UsbLoaderOf(std::shared_ptr<SimulatedBench> bench, Clock& clock);

}  // namespace ulix

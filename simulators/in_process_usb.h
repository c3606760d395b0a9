// Implements the operations of the USB helper library for a simulated instrument, in this process or served by another.
#pragma once

#include <functional>
#include <memory>

#include "links/usb_library.h"
#include "simulators/in_process_port.h"

namespace ulix {

// The identity of the simulated device. To open a device with another identity returns kUsbBadIdentifier.
inline constexpr UsbIdentity kSimulatedUsbIdentity = {
    {0x8A5B2C10, 0x760A, 0x4D7E, {0x9B, 0x21, 0x55, 0x4C, 0x49, 0x58, 0x00, 0x01}}, 0x0760, 0x0001};

// Opens the line to the instrument. Returns null when the instrument is gone.
using UsbLineOpener = std::function<std::unique_ptr<platform::SerialPort>()>;

// A loader of a library with one device: the instrument at the other end of the line. A transfer ends with a line feed,
// when the buffer is full, or when its timeout has passed on `clock`.
UsbLibraryLoader UsbLoaderOf(UsbLineOpener open, Clock& clock);
UsbLibraryLoader UsbLoaderOf(std::shared_ptr<SimulatedBench> bench, Clock& clock);

}  // namespace ulix

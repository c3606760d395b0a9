// The link of a driver and the framer of its messages, one function for each kind of wire.
#pragma once

#include <functional>
#include <memory>
#include <span>

#include "links/modbus_link.h"
#include "links/serial_link.h"
#include "links/usb_library.h"
#include "links/usb_link.h"
#include "platform/socket.h"
#include "sessions/line_framer.h"
#include "sessions/session.h"

namespace ulix {

// What a driver is created with: the clock, the ways to the instrument, and the trace.
struct DriverServices {
  Clock* clock = &SystemClock();
  platform::PortResolver resolve_port = ResolveSerialPort;
  platform::SocketMaker make_socket = platform::MakeStreamSocket;
  UsbLibraryLoader load_usb_library = LoadOwnUsbLibrary;
  LinkTrace trace;
  std::uint32_t timeout_ms = 0;  // replaces the link's read and write timeouts; 0 keeps the driver's own
};

struct Wire {
  std::unique_ptr<Link> link;
  std::unique_ptr<Framer> framer;
  Session::Options options;
};

// How a model's serial line is opened and its messages are framed.
struct LineProfile {
  char terminator;            // ends commands and replies
  int reply_size;             // longest reply read where nothing else is said, the terminator's place included
  int open_attempts = 1;      // a second apart
  std::uint32_t read_ms = 0;  // timeouts once open; 0 keeps the link's
  std::uint32_t write_ms = 0;
  std::span<const std::uint32_t> baud_rates = kBaudRates;  // that its line has

  // A reply as it is usually read.
  constexpr ReplyPlan usual() const { return {reply_size}; }
};

// Lines of text, or frames that `wrap` makes of messages and that end with the terminator.
Wire LineWire(const LineProfile& profile, const DriverServices& services, LineFramer::Wrap wrap = nullptr);
// Frames on a serial line whose replies have known sizes.
Wire FixedWire(const LineProfile& profile, const DriverServices& services);

// Text over a USB device, without a library the code `not_loaded`.
Wire UsbWire(HRESULT not_loaded, std::function<Expected<UsbIdentity>()> wanted, const DriverServices& services);

struct ModbusProfile {
  const char* name;                           // in the link's summary
  std::span<const std::uint32_t> baud_rates;  // that its line has; the first one is the default
  std::uint16_t sync_register;                // the first of eight that can be read at any time
  Milliseconds timeout{1000};                 // of one request
};
Wire ModbusWire(const ModbusProfile& profile, const std::function<std::uint8_t()>& slave,
                const DriverServices& services);

}  // namespace ulix

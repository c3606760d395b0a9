// The link of a driver and its framer, made by one function for each kind of connection.
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

// What a driver is made with: the clock, the sources of its connections, and the trace. Clock must outlive the driver.
struct DriverServices {
  Clock* clock = &SystemClock();
  platform::PortResolver resolve_port = ResolveSerialPort;
  platform::SocketMaker make_socket = platform::MakeStreamSocket;
  UsbLibraryLoader load_usb_library = LoadOwnUsbLibrary;
  LinkTrace trace;
  std::uint32_t timeout_ms = 0;  // replaces all read and write timeouts; 0 keeps the driver's own
};

// A link, its framer, and the options of their session. The driver owns all three.
struct Wire {
  std::unique_ptr<Link> link;
  std::unique_ptr<Framer> framer;
  Session::Options options;
};

// The properties of a model's serial line.
struct LineProfile {
  char terminator;            // ends commands and replies
  int reply_size;             // longest usual reply in bytes, including the terminator
  int open_attempts = 1;      // how often opening is tried, one second apart
  std::uint32_t read_ms = 0;  // timeouts in milliseconds; 0 keeps the link's own
  std::uint32_t write_ms = 0;
  std::span<const std::uint32_t> baud_rates = kBaudRates;  // offered to users

  // The plan for a usual reply.
  constexpr ReplyPlan usual() const { return {reply_size}; }
};

// A serial line with lines of text, or with frames that `wrap` makes of messages and that end with the terminator.
Wire LineWire(const LineProfile& profile, const DriverServices& services, LineFramer::Wrap wrap = nullptr);
// A serial line with frames whose replies have known sizes.
Wire FixedWire(const LineProfile& profile, const DriverServices& services);

// A USB device with texts. `not_loaded` is the code for a missing helper library; `wanted` gives the device that the
// settings name.
Wire UsbWire(HRESULT not_loaded, std::function<Expected<UsbIdentity>()> wanted, const DriverServices& services);

// The properties of a Modbus instrument.
struct ModbusProfile {
  const char* name;                           // shown in the link's summary
  std::span<const std::uint32_t> baud_rates;  // that the instrument supports; the first one is the default
  std::uint16_t sync_register;                // the first of eight that can be read at any time
  Milliseconds timeout{1000};                 // of one request
};
// Modbus on a serial line or a network. `slave` gives the slave address in the present settings.
Wire ModbusWire(const ModbusProfile& profile, const std::function<std::uint8_t()>& slave,
                const DriverServices& services);

}  // namespace ulix

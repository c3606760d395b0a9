#include "drivers/wire.h"

#include <utility>

#include "sessions/modbus_framer.h"
#include "sessions/usb_framer.h"

namespace ulix {
namespace {

std::unique_ptr<SerialLink> MakeSerialLink(const LineProfile& profile, const DriverServices& services) {
  return std::make_unique<SerialLink>(SerialLink::Options{.resolve_port = services.resolve_port,
                                                          .trace = services.trace,
                                                          .clock = services.clock,
                                                          .baud_rates = profile.baud_rates});
}

Session::Options OptionsOf(const LineProfile& profile, const DriverServices& services) {
  return {.clock = services.clock,
          .timeout_ms = services.timeout_ms,
          .read_ms = profile.read_ms,
          .write_ms = profile.write_ms,
          .open_attempts = profile.open_attempts};
}

}  // namespace

Wire LineWire(const LineProfile& profile, const DriverServices& services, LineFramer::Wrap wrap) {
  auto link = MakeSerialLink(profile, services);
  auto framer = std::make_unique<LineFramer>(
      *link, *services.clock, LineFramer::Options{profile.terminator, profile.reply_size, std::move(wrap)});
  return {std::move(link), std::move(framer), OptionsOf(profile, services)};
}

Wire FixedWire(const LineProfile& profile, const DriverServices& services) {
  auto link = MakeSerialLink(profile, services);
  auto framer = std::make_unique<FixedFramer>(*link, *services.clock);
  return {std::move(link), std::move(framer), OptionsOf(profile, services)};
}

Wire UsbWire(HRESULT not_loaded, std::function<Expected<UsbIdentity>()> wanted, const DriverServices& services) {
  UsbLink::Options options{.not_loaded = not_loaded,
                           .wanted = std::move(wanted),
                           .load = services.load_usb_library,
                           .clock = services.clock,
                           .trace = services.trace};
  if (services.timeout_ms != 0) options.timeout_ms = services.timeout_ms;
  auto link = std::make_unique<UsbLink>(std::move(options));
  auto framer = std::make_unique<UsbFramer>(*link, *services.clock);
  return {std::move(link), std::move(framer), {.clock = services.clock, .timeout_ms = services.timeout_ms}};
}

Wire ModbusWire(const ModbusProfile& profile, const std::function<std::uint8_t()>& slave,
                const DriverServices& services) {
  const bool own = services.timeout_ms != 0;
  ModbusLink::Options options{.name = profile.name,
                              .slave = slave,
                              .line = {.resolve_port = services.resolve_port,
                                       .trace = services.trace,
                                       .clock = services.clock,
                                       .baud_rates = profile.baud_rates,
                                       .other_rates = false},
                              .network = {.make_socket = services.make_socket,
                                          .clock = services.clock,
                                          .trace = services.trace,
                                          .timeout = own ? Milliseconds(services.timeout_ms) : profile.timeout}};
  auto link = std::make_unique<ModbusLink>(std::move(options));
  auto framer = std::make_unique<ModbusFramer>(*link, *services.clock, slave, profile.sync_register);
  const auto read_ms = static_cast<std::uint32_t>(profile.timeout.count());
  return {std::move(link),
          std::move(framer),
          {.clock = services.clock, .timeout_ms = services.timeout_ms, .read_ms = read_ms, .write_ms = read_ms}};
}

}  // namespace ulix

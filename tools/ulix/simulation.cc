#include "tools/ulix/simulation.h"

#include <memory>

#include "links/network_port.h"
#include "platform/clock.h"
#include "simulators/faults.h"
#include "simulators/in_process_usb.h"
#include "simulators/server.h"
#include "simulators/simulator.h"
#include "tools/ulix/arguments.h"
#include "tools/ulix/failures.h"
#include "tools/ulix/texts.h"
#include "tools/ulix/wire_log.h"

namespace ulix::cli {
namespace {

std::unique_ptr<Simulator> NewSimulator(const std::string& model) {
  const SimulatorFactory create = FindSimulator(model);
  if (create == nullptr) throw UsageError("MODEL", Shown(TextId::kHasNoSimulator, {model}));
  return create(SystemClock());
}

std::string PropertyList(const Simulator& simulator) {
  std::string list;
  for (const auto& [key, value] : simulator.Properties()) list += (list.empty() ? "" : ", ") + key + "=" + value;
  return list;
}

}  // namespace

UsbLibraryLoader ServedUsbInstrument(const std::string& location) {
  const auto open = [bound =
                         ResolveSerialPort({.location = location}).port]() -> std::unique_ptr<platform::SerialPort> {
    auto port = bound ? bound->Open().port : nullptr;
    return port && port->Configure({}) ? std::move(port) : nullptr;
  };
  return UsbLoaderOf(open, SystemClock());
}

SimulatedInstrument::SimulatedInstrument(const std::string& model) : instrument_(NewSimulator(model)) {}

SimulatedInstrument::SimulatedInstrument(const std::vector<LoggedExchange>& log)
    : instrument_(std::make_unique<ReplayedInstrument>(log)) {}

void SimulatedInstrument::Set(const std::string& assignment) {
  const auto parsed = ParseAssignment("--set", assignment);
  instrument_.WithSimulator([&](Simulator& simulator) {
    if (Succeeded(simulator.Set(parsed.first, parsed.second))) return;
    throw UsageError("--set", Shown(TextId::kPropertyNotTaken, {assignment, PropertyList(simulator)}));
  });
}

void SimulatedInstrument::SetFaults(const std::vector<std::string>& faults) {
  FaultSet set;
  for (const std::string& text : faults) {
    const auto fault = ParseFault(text);
    if (!fault) throw UsageError("--fault", fault.error().In(ShownLanguage()));
    set.Add(*fault);
  }
  instrument_.SetFaults(set);
}

void SimulatedInstrument::OnNetwork() {
  instrument_.WithSimulator([](Simulator& simulator) { simulator.OnNetwork(); });
}

void SimulatedInstrument::Serve(platform::ByteEndpoint& endpoint, const std::atomic<bool>& stop) {
  ulix::Serve(instrument_, endpoint, SystemClock(), stop);
}

std::vector<std::string> SimulatedInstrument::UnknownRequests() {
  std::vector<std::string> visible;
  instrument_.WithSimulator([&](const Simulator& simulator) {
    for (const std::string& request : simulator.unknown_requests()) visible.push_back(VisibleBytes(request));
  });
  return visible;
}

}  // namespace ulix::cli

// A simulated instrument on a serial port of this process.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/mutex.h"
#include "platform/port_binding.h"
#include "platform/socket.h"
#include "simulators/faulty_instrument.h"

namespace ulix {

// The instrument and its line. Both stay alive while ports to it are opened and closed, one at a time. Ports share
// ownership of the bench. Any thread may call any function.
//
//   auto bench = std::make_shared<SimulatedBench>(FindSimulator("kelvo10")(clock), clock);
//   SerialLink link({.resolve_port = ResolverOf(bench)});
class SimulatedBench {
 public:
  SimulatedBench(std::unique_ptr<Simulator> simulator, Clock& clock, const FaultSet& faults = {});

  // See FaultyInstrument::SetFaults. A port that lost its device stays lost until it is opened again.
  void SetFaults(const FaultSet& faults);

  template <typename Body>
  auto WithSimulator(Body&& body) {
    return instrument_.WithSimulator(body);
  }

 private:
  friend class InProcessPort;
  friend platform::OpenResult OpenBench(const std::shared_ptr<SimulatedBench>& bench);
  void TakeArrived();

  Clock& clock_;
  FaultyInstrument instrument_;
  platform::Mutex mutex_;                // Guards the members below.
  platform::ConditionVariable changed_;  // Notified when the faults change and when the line ends.
  std::string received_;                 // Bytes that came and were not read.
  bool open_ = false;
  bool lost_ = false;  // The device has vanished.
};

// Opens the line to the bench. Fails with kInUse while another port is open, and with kNoSuchDevice when the device has
// vanished.
platform::OpenResult OpenBench(const std::shared_ptr<SimulatedBench>& bench);

// Resolves every port address to this bench, for SerialLink::Options.
platform::PortResolver ResolverOf(std::shared_ptr<SimulatedBench> bench);

// Makes sockets that connect to this bench at every address.
platform::SocketMaker SocketMakerOf(std::shared_ptr<SimulatedBench> bench);

}  // namespace ulix

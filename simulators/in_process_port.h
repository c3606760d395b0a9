// A simulated instrument on a serial port of this process.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/port_binding.h"
#include "platform/socket.h"
#include "simulators/faulty_instrument.h"

namespace ulix {

// The instrument and the line to it, which live on while ports to it are opened and closed, one at a time. Ports share
// its ownership. Any thread may call any function.
class SimulatedBench {
 public:
  SimulatedBench(std::unique_ptr<Simulator> simulator, Clock& clock, const FaultSet& faults = {});

  // As of FaultyInstrument; a port that lost its device stays lost until it is opened again.
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
  std::mutex mutex_;                 // guards the line's state below
  std::condition_variable changed_;  // the faults or the end of the line
  std::string received_;             // came and was not read
  bool open_ = false;
  bool lost_ = false;  // the device vanished while the line was open, or before
};

// Opens the line to the bench; busy while another port has it, and no such device once it vanished.
platform::OpenResult OpenBench(const std::shared_ptr<SimulatedBench>& bench);

// Every port address leads to this bench: for SerialLink::Options.
platform::PortResolver ResolverOf(std::shared_ptr<SimulatedBench> bench);

// A maker whose sockets find this bench at every address.
platform::SocketMaker SocketMakerOf(std::shared_ptr<SimulatedBench> bench);

}  // namespace ulix

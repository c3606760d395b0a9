// Serves a serial line of this machine to programs on the network.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "links/rfc2217_endpoint.h"
#include "platform/byte_endpoint.h"
#include "platform/named_mutex.h"
#include "platform/port_binding.h"

namespace ulix {

enum class LineEvent {
  kClientCame,
  kClientLeft,
  kLineLost,  // the device is gone; clients are refused until it is open again
  kLineBack,  // the device is open again
};

// Moves bytes between the line and one client at a time. The port stays open from Open on, so that no other program of
// this machine can open it. For every new client the line gets the settings of the options, and old input is discarded.
//
// For a client on another machine, each transfer takes the machine-wide lock of serial traffic. A client on this
// machine holds that lock itself during its own operations, so the server does not take it.
//
// One thread uses a server. Only the flag `stop` that is passed to Serve may change at any time, on any thread.
class LineServer {
 public:
  struct Options {
    platform::LineSettings settings;
    // Called for each event on the thread of Serve. `who` is the client's address, or the port's location.
    std::function<void(LineEvent event, const std::string& who)> tell = [](LineEvent, const std::string&) {};
    // The text for a client that is refused: because another client has the line (its address replaces '%'), and
    // because the device is gone.
    std::string busy_refusal;
    std::string lost_refusal;
  };
  LineServer(std::shared_ptr<platform::BoundPort> port, Options options);
  ~LineServer();

  // Opens the port. Waits up to a minute for the machine-wide lock. The result is the reason of a failure, or has the
  // cause kNone.
  platform::OpenFailure Open();
  // The functions through which MakeRfc2217Endpoint passes a client's requests to this line. They are valid as long as
  // the server lives.
  LineControl Control();
  // Serves until `stop` is set, and returns within about a second after that. Output that the line has accepted is
  // still sent. A lost device is opened again as soon as it is back.
  void Serve(platform::ByteEndpoint& endpoint, const std::atomic<bool>& stop);

 private:
  class Turn;
  platform::OpenFailure OpenInTurn(std::chrono::milliseconds wait);
  void NoteClient();
  void StartClient();
  void PassToLine();
  void PassToClient();
  void LoseLine();
  void ReopenLine();
  bool Configure(const platform::LineSettings& settings);
  void Purge(bool input, bool output);
  void SetRefusal(const std::string& to_all);
  void LetOutputLeave() const;

  std::shared_ptr<platform::BoundPort> bound_;
  Options options_;
  platform::NamedMutex machine_mutex_;
  std::unique_ptr<platform::SerialPort> port_;  // none while the device is gone
  platform::ByteEndpoint* endpoint_ = nullptr;  // while it serves
  platform::EndpointClient client_;             // the one that was seen last
  platform::LineSettings settings_;             // in force
  std::string to_line_;                         // bytes of the client that the line has not taken yet
  bool damaged_ = false;                        // a byte arrived damaged, and the client was not told yet
  std::chrono::steady_clock::time_point wire_free_{};
  std::chrono::steady_clock::time_point next_open_{};
};

}  // namespace ulix

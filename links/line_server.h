// Shares a serial line of this machine with a program on the network.
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
  kLineLost,  // the device went; clients are refused until it is back
  kLineBack,
};

// Moves bytes between one client at a time and the line. The port is open from Open on, so that no other program of
// this machine has it. Every client finds the line with the settings of the options and with no old input.
//
// Transfers for a client on another machine take their turn at the machine-wide lock of serial traffic, one piece at a
// time. A client on this machine holds that lock itself during its own operations, so none is taken for it.
//
// One thread uses it. Only what is passed to Serve as `stop` may change at any time.
class LineServer {
 public:
  struct Options {
    platform::LineSettings settings;
    // Told of each event and of whom it is about: a client's address, or the port's location.
    std::function<void(LineEvent event, const std::string& who)> tell = [](LineEvent, const std::string&) {};
    // What a client is told that is not served: the one in whose place '%' stands has the line, or the device is gone.
    std::string busy_words;
    std::string lost_words;
  };
  LineServer(std::shared_ptr<platform::BoundPort> port, Options options);
  ~LineServer();

  // Opens the port, as far as possible within a minute. Why not, or OpenFailureCause::kNone.
  platform::OpenFailure Open();
  // What a client of MakeRfc2217Endpoint asks of the line.
  LineControl Control();
  // Serves until `stop` is set, which it notices within about a second. Output that the line has taken is sent.
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

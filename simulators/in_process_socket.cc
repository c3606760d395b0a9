// A network connection to a simulated instrument of this process.
#include <algorithm>
#include <utility>

#include "simulators/in_process_port.h"

namespace ulix {
namespace {

using platform::IoOutcome;
using platform::SocketWait;

class InProcessSocket final : public platform::StreamSocket {
 public:
  explicit InProcessSocket(std::shared_ptr<SimulatedBench> bench) : bench_(std::move(bench)) {}

  bool Connect(platform::Ipv4Address, std::uint16_t, std::optional<std::chrono::milliseconds>) override {
    line_ = OpenBench(bench_).port;
    return line_ != nullptr;
  }

  SocketWait AwaitReadable(std::chrono::milliseconds wait) override {
    if (came_) return SocketWait::kReady;
    const auto ms = static_cast<std::uint32_t>(std::max<std::int64_t>(wait.count(), 1));
    char byte = 0;
    line_->SetTimeouts({.read_ms = ms, .write_ms = ms});
    const IoOutcome outcome = line_->Read({&byte, 1}).outcome;
    if (outcome == IoOutcome::kComplete) came_ = byte;
    const bool ready = outcome == IoOutcome::kComplete || outcome == IoOutcome::kLinkLost;
    return ready ? SocketWait::kReady : SocketWait::kTimedOut;
  }
  SocketWait AwaitWritable(std::chrono::milliseconds) override { return SocketWait::kReady; }

  int Send(std::string_view bytes) override {
    would_wait_ = false;
    const platform::IoResult sent = line_->Write(bytes);
    return sent.outcome == IoOutcome::kComplete ? static_cast<int>(sent.count) : -1;
  }
  // Delivers one byte at a time, as a TCP stream may do.
  int Receive(std::span<char> bytes) override {
    would_wait_ = !came_ && line_->IsPresent();
    if (!came_) return would_wait_ ? -1 : 0;
    bytes[0] = *std::exchange(came_, std::nullopt);
    return 1;
  }
  bool WouldWait() const override { return would_wait_; }

 private:
  std::shared_ptr<SimulatedBench> bench_;
  std::unique_ptr<platform::SerialPort> line_;
  std::optional<char> came_;
  bool would_wait_ = false;
};

}  // namespace

platform::SocketMaker SocketMakerOf(std::shared_ptr<SimulatedBench> bench) {
  return [bench = std::move(bench)] { return std::make_unique<InProcessSocket>(bench); };
}

}  // namespace ulix

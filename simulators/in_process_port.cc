#include "simulators/in_process_port.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace ulix {
namespace {

// How many bytes a host may leave unread. More bytes are lost.
constexpr std::size_t kReceiveQueue = 65536;

constexpr std::uint32_t SystemCode(std::errc code) { return static_cast<std::uint32_t>(code); }

platform::OpenResult Refused(platform::OpenFailureCause cause, std::errc code) {
  return {nullptr, {.cause = cause, .os_error = SystemCode(code)}};
}

}  // namespace

class InProcessPort final : public platform::SerialPort {
 public:
  explicit InProcessPort(std::shared_ptr<SimulatedBench> bench) : bench_(std::move(bench)) {}
  ~InProcessPort() override {
    std::lock_guard lock(bench_->mutex_);
    bench_->open_ = false;
  }

  bool SetQueueSizes(std::uint32_t, std::uint32_t) override { return true; }
  bool SetTimeouts(const platform::SerialTimeouts& timeouts) override {
    timeouts_ = timeouts;
    return true;
  }
  bool Configure(const platform::LineSettings& settings) override { return settings.baud_rate != 0; }
  platform::IoResult Read(std::span<char> bytes) override;
  platform::IoResult Write(std::string_view bytes) override;
  void Purge(bool input, bool output) override;
  void ClearError() override {}
  bool IsPresent() override;
  void Interrupt(bool on) override;

 private:
  std::size_t TakeReceived(std::span<char> bytes);

  std::shared_ptr<SimulatedBench> bench_;
  platform::SerialTimeouts timeouts_;
  bool interrupted_ = false;  // Guarded by the bench's mutex.
};

platform::IoResult InProcessPort::Read(std::span<char> bytes) {
  using enum platform::IoOutcome;
  std::unique_lock lock(bench_->mutex_);
  Clock& clock = bench_->clock_;
  const Deadline deadline =
      timeouts_.read_ms ? Deadline::In(clock, Milliseconds(timeouts_.read_ms)) : Deadline::Never();
  std::size_t count = 0;
  for (;;) {
    // Read before the bytes are taken: bytes that came up to the deadline are in time.
    const bool late = deadline.Passed(clock);
    bench_->TakeArrived();
    count += TakeReceived(bytes.subspan(count));
    if (count == bytes.size()) return {kComplete, count, 0};
    if (bench_->lost_) return {kLinkLost, count, SystemCode(std::errc::io_error)};
    if (late) return {count > 0 ? kStoppedMidway : kNoFirstByte, count, 0};
    if (interrupted_) return {kCancelled, count, 0};
    const MonotonicTime end = deadline.WaitPoint(clock);
    clock.WaitUntil(lock, bench_->changed_, std::min(end, bench_->instrument_.NextDue().value_or(end)));
  }
}

platform::IoResult InProcessPort::Write(std::string_view bytes) {
  std::lock_guard lock(bench_->mutex_);
  bench_->TakeArrived();
  if (bench_->lost_) return {platform::IoOutcome::kLinkLost, 0, SystemCode(std::errc::io_error)};
  bench_->instrument_.Receive(bytes, bench_->clock_.Now());
  return {platform::IoOutcome::kComplete, bytes.size(), 0};
}

void InProcessPort::Purge(bool input, bool) {
  std::lock_guard lock(bench_->mutex_);
  bench_->TakeArrived();
  if (input) bench_->received_.clear();
}

bool InProcessPort::IsPresent() {
  std::lock_guard lock(bench_->mutex_);
  bench_->TakeArrived();
  return !bench_->lost_;
}

void InProcessPort::Interrupt(bool on) {
  std::lock_guard lock(bench_->mutex_);
  interrupted_ = on;
  bench_->changed_.notify_all();
}

std::size_t InProcessPort::TakeReceived(std::span<char> bytes) {
  std::string& received = bench_->received_;
  const std::size_t count = received.copy(bytes.data(), bytes.size());
  received.erase(0, count);
  return count;
}

SimulatedBench::SimulatedBench(std::unique_ptr<Simulator> simulator, Clock& clock, const FaultSet& faults)
    : clock_(clock), instrument_(std::move(simulator), faults) {}

void SimulatedBench::SetFaults(const FaultSet& faults) {
  std::lock_guard lock(mutex_);
  TakeArrived();
  instrument_.SetFaults(faults);
  TakeArrived();
  changed_.notify_all();
}

// Takes the bytes that are due by now, and notices when the device vanished after them. Call with the lock held.
void SimulatedBench::TakeArrived() {
  received_ += instrument_.TakeDue(clock_.Now()).substr(0, kReceiveQueue - received_.size());
  lost_ = lost_ || instrument_.Vanished();
}

platform::OpenResult OpenBench(const std::shared_ptr<SimulatedBench>& bench) {
  std::lock_guard lock(bench->mutex_);
  if (bench->open_) return Refused(platform::OpenFailureCause::kInUse, std::errc::device_or_resource_busy);
  bench->TakeArrived();
  if (bench->instrument_.Vanished()) {
    return Refused(platform::OpenFailureCause::kNoSuchDevice, std::errc::no_such_device);
  }
  auto port = std::make_unique<InProcessPort>(bench);
  bench->received_.clear();  // Bytes that came while the port was closed are lost.
  bench->open_ = true;
  bench->lost_ = false;
  return {std::move(port), {}};
}

platform::PortResolver ResolverOf(std::shared_ptr<SimulatedBench> bench) {
  return platform::InProcessPorts(
      [bench = std::move(bench)](const platform::PortAddress&) { return OpenBench(bench); });
}

}  // namespace ulix

#include <array>
#include <string>
#include <utility>

#include "links/modbus_frames.h"
#include "links/modbus_transport.h"
#include "platform/named_mutex.h"

namespace ulix {
namespace {

constexpr Milliseconds kLockWait{60000};
constexpr std::uint32_t kQueue = 2000;  // bytes, each way
constexpr std::size_t kLongestFrame = 256;
constexpr std::size_t kShortestReply = 5;  // an exception

// A character is eleven bits: a line without parity has a second stop bit or idles for it.
std::chrono::microseconds WireTime(std::size_t characters, std::uint32_t rate) {
  return std::chrono::microseconds(characters * 11 * 1'000'000 / rate + 1);
}

// The silence between frames: three and a half characters, 1750 us above 19200 bits per second.
std::chrono::microseconds Silence(std::uint32_t rate) {
  return rate > 19200 ? std::chrono::microseconds(1750) : WireTime(7, rate) / 2;
}

class ModbusRtu final : public ModbusTransport {
 public:
  explicit ModbusRtu(ModbusLine line) : line_(std::move(line)), mutex_(kPortMutexName), trace_(line_.trace) {}

  HRESULT Open(Milliseconds) override {
    if (port_) return S_OK;
    const Hold hold = TakeMutex();
    if (!hold) return E_FAIL;
    auto port = OpenBound();
    if (!port || !port->SetQueueSizes(kQueue, kQueue) || !port->Configure(LineSettingsOf(line_.params))) {
      return serialCommErrUnableToOpenComm;
    }
    port->Purge(true, true);
    port_ = std::move(port);
    lost_ = false;
    quiet_since_ = line_.clock->Now();
    return S_OK;
  }
  void Close() override {
    port_.reset();
    bound_.reset();
    lost_ = false;
  }
  bool IsOpen() const override { return port_ != nullptr; }
  Expected<bool> Restore(Milliseconds timeout) override {
    if (port_ && !lost_) return false;
    port_.reset();
    return Succeeded(Open(timeout)) ? Expected<bool>(true) : Failure(Closed());
  }
  bool IsThere() override {
    if (port_ && !port_->IsPresent()) lost_ = true;
    return !lost_;
  }
  void Distrust() override { unsettled_ = last_timeout_; }
  HRESULT NoAnswer() const override { return serialCommErrUnableToReadComm; }
  HRESULT Closed() const override { return serialCommErrCommClosed; }

  Expected<std::string_view> Exchange(std::uint8_t slave, std::string_view pdu, Milliseconds timeout) override {
    if (!port_) return Failure(Closed());
    const auto reply = ExchangeAlone(slave, pdu, timeout);
    trace_.Tell(trace_.Take());
    return reply;
  }

 private:
  // The same device each time until Close.
  std::unique_ptr<platform::SerialPort> OpenBound() {
    if (!bound_) bound_ = line_.resolve_port(PortAddressOf(line_.params)).port;
    return bound_ ? bound_->Open().port : nullptr;
  }

  using Hold = std::unique_ptr<platform::NamedMutex, void (*)(platform::NamedMutex*)>;
  Hold TakeMutex() {
    const auto give_back = [](platform::NamedMutex* mutex) { mutex->Unlock(); };
    return {mutex_.LockFor(kLockWait) ? &mutex_ : nullptr, give_back};
  }

  Expected<std::string_view> ExchangeAlone(std::uint8_t slave, std::string_view pdu, Milliseconds timeout) {
    const Hold hold = TakeMutex();
    if (!hold) return Failure(E_FAIL);
    if (const HRESULT result = Settle(timeout); Failed(result)) return Failure(result);
    auto reply = Converse(modbus::SerialFrame(slave, pdu), timeout);
    // The reply to a request that failed may still come: nothing in it would tell it from the next one's.
    last_timeout_ = timeout;
    if (!reply) Distrust();
    quiet_since_ = line_.clock->Now();
    return reply;
  }

  Expected<std::string_view> Converse(const std::string& frame, Milliseconds timeout) {
    const HRESULT sent = Send(frame, timeout);
    return Failed(sent) ? Failure(sent) : Receive(frame, timeout);
  }

  // Sees to it that a request begins after the silence that it needs. After a failed exchange the line is drained until
  // nothing has come for a whole timeout, for three of them at most.
  HRESULT Settle(Milliseconds timeout) {
    if (const auto quiet = std::exchange(unsettled_, std::nullopt)) {
      const MonotonicTime give_up = line_.clock->Now() + 3 * std::max(*quiet, timeout);
      while (line_.clock->Now() < quiet_since_ + *quiet) {
        const auto left = std::chrono::ceil<Milliseconds>(quiet_since_ + *quiet - line_.clock->Now());
        if (!Drain(left)) continue;
        quiet_since_ = line_.clock->Now();
        if (quiet_since_ < give_up) continue;
        unsettled_ = quiet;
        return serialCommErrUnableToReadComm;
      }
    }
    const auto since = line_.clock->Now() - quiet_since_;
    const auto silence = Silence(line_.params.baudRate);
    if (since < silence) line_.clock->SleepFor(std::chrono::ceil<Milliseconds>(silence - since));
    if (port_) port_->Purge(true, false);
    return port_ ? S_OK : NoAnswer();
  }

  // Throws away what comes within the time; whether anything did. A line that breaks meanwhile is quiet.
  bool Drain(Milliseconds time) {
    std::array<char, 1> byte;
    const auto outcome = Read(byte, time).outcome;
    if (outcome == platform::IoOutcome::kLinkLost) line_.clock->SleepFor(time);
    return outcome == platform::IoOutcome::kComplete;
  }

  HRESULT Send(const std::string& frame, Milliseconds timeout) {
    trace_.Note(TraceDirection::kSent, frame);
    const auto whole = timeout + OnWire(frame.size());
    const auto write_ms = static_cast<std::uint32_t>(whole.count());
    if (!port_->SetTimeouts({.read_ms = write_ms, .write_ms = write_ms})) return Lost(serialCommErrUnableToWriteComm);
    const platform::IoResult written = port_->Write(frame);
    if (written.outcome == platform::IoOutcome::kLinkLost) return Lost(serialCommErrUnableToWriteComm);
    return written.outcome == platform::IoOutcome::kComplete ? S_OK : serialCommErrUnableToWriteComm;
  }

  // A reply must begin within the timeout after the request has left, and be whole within its time on the wire and the
  // timeout once more.
  Expected<std::string_view> Receive(const std::string& request, Milliseconds timeout) {
    const auto start = std::span(buffer_).first(kShortestReply);
    if (const HRESULT result = ReadAll(start, timeout + OnWire(request.size() + start.size())); Failed(result)) {
      return Failure(result);
    }
    const std::size_t length = modbus::SerialReplyLength({start.data(), start.size()});
    if (length < start.size() || length > buffer_.size()) return Failure(serialCommErrUnableToReadComm);
    const auto rest = std::span(buffer_).subspan(start.size(), length - start.size());
    const HRESULT result = rest.empty() ? S_OK : ReadAll(rest, timeout + OnWire(rest.size()));
    if (Failed(result)) return Failure(result);
    const std::string_view frame(buffer_.data(), length);
    trace_.Note(TraceDirection::kReceived, frame);
    // The check over a frame that ends in its own check is 0.
    const bool ours = frame[0] == request[0] && modbus::Crc16(frame) == 0;
    if (!ours) return Failure(serialCommErrUnableToReadComm);
    return frame.substr(1, length - 3);
  }

  HRESULT ReadAll(std::span<char> bytes, Milliseconds time) {
    return Read(bytes, time).outcome == platform::IoOutcome::kComplete ? S_OK : serialCommErrUnableToReadComm;
  }

  platform::IoResult Read(std::span<char> bytes, Milliseconds time) {
    const auto read_ms = static_cast<std::uint32_t>(std::max<std::int64_t>(time.count(), 1));
    platform::IoResult lost{platform::IoOutcome::kLinkLost, 0, 0};
    if (!port_ || !port_->SetTimeouts({.read_ms = read_ms, .write_ms = read_ms})) return lost;
    const platform::IoResult result = port_->Read(bytes);
    port_->ClearError();
    if (result.outcome == platform::IoOutcome::kLinkLost) Lost(serialCommErrUnableToReadComm);
    return result;
  }

  HRESULT Lost(HRESULT code) {
    port_.reset();
    lost_ = true;
    return code;
  }

  Milliseconds OnWire(std::size_t characters) const {
    return std::chrono::ceil<Milliseconds>(WireTime(characters, line_.params.baudRate));
  }

  ModbusLine line_;
  platform::NamedMutex mutex_;
  HeldTrace trace_;
  std::shared_ptr<platform::BoundPort> bound_;
  std::unique_ptr<platform::SerialPort> port_;
  bool lost_ = false;            // the port's device, since it was opened
  MonotonicTime quiet_since_{};  // the end of the last exchange, or of what came after it
  Milliseconds last_timeout_{0};
  std::optional<Milliseconds> unsettled_;  // after an exchange that failed: how long the line must be quiet
  std::array<char, kLongestFrame> buffer_;
};

}  // namespace

std::unique_ptr<ModbusTransport> MakeModbusRtu(ModbusLine line) { return std::make_unique<ModbusRtu>(std::move(line)); }

}  // namespace ulix

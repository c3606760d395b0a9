#include "links/serial_link.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "base/trace.h"
#include "platform/code_page.h"

namespace ulix {
namespace {

constexpr std::uint32_t kReceiveQueue = 2000;
constexpr std::uint32_t kTransmitQueue = 1000;
constexpr platform::SerialTimeouts kDefaultTimeouts = {.read_ms = 1000, .write_ms = 1000};

bool IsSupportedRate(std::uint32_t rate) {
  return std::find(kBaudRates.begin(), kBaudRates.end(), rate) != kBaudRates.end();
}

}  // namespace

// One hold of the machine-wide mutex.
class SerialLink::Hold {
 public:
  explicit Hold(SerialLink& link) : mutex_(link.port_mutex_) {
    platform::LockProblem problem;
    held_ = mutex_.LockFor(link.options_.lock_wait, &problem);
    if (!held_) TraceLine(problem.Describe());
  }
  ~Hold() {
    if (held_) mutex_.Unlock();
  }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;
  explicit operator bool() const { return held_; }

 private:
  platform::NamedMutex& mutex_;
  bool held_ = false;
};

// A read timeout for one call, put back by Restore; 0 changes nothing.
class SerialLink::ReadTimeout {
 public:
  ReadTimeout(SerialLink& link, std::uint32_t timeout_ms) : link_(link), saved_(link.timeouts()) {
    if (timeout_ms != 0) applied_ = changed_ = link.Apply({timeout_ms, saved_.write_ms});
  }
  bool applied() const { return applied_; }
  bool Restore() { return !changed_ || link_.Apply(saved_); }

 private:
  SerialLink& link_;
  platform::SerialTimeouts saved_;
  bool changed_ = false;
  bool applied_ = true;
};

SerialLink::SerialLink(Options options)
    : options_(std::move(options)), port_mutex_(kPortMutexName), trace_(options_.trace) {}

// Runs an operation on the open port under the machine-wide mutex.
template <typename Body>
HRESULT SerialLink::WithPort(Body&& body) {
  if (!open_) return serialCommErrCommClosed;
  HRESULT result = E_FAIL;
  HeldTrace::Pieces passed;
  if (const Hold hold(*this); hold) {
    result = port_ ? body() : serialCommErrCommClosed;  // closed while this call waited
    passed = trace_.Take();
  }
  trace_.Tell(passed);
  return result;
}

void SerialLink::Note(const platform::IoResult& result) {
  if (result.outcome == platform::IoOutcome::kLinkLost) lost_ = true;
}

SerialParams SerialLink::params() const {
  const std::lock_guard lock(params_mutex_);
  return params_;
}

void SerialLink::SetParams(const SerialParams& params) {
  const std::lock_guard lock(params_mutex_);
  params_ = params;
}

HRESULT SerialLink::Open() { return Open(Device::kAnew); }
HRESULT SerialLink::Reopen() { return Open(Device::kBound); }

HRESULT SerialLink::Open(Device device) {
  if (open_) return S_OK;
  const Hold hold(*this);
  if (!hold) return E_FAIL;
  if (port_) return S_OK;
  SetPort(OpenConfigured(device));
  lost_ = false;
  open_ = port_ != nullptr;
  return open_ ? S_OK : serialCommErrUnableToOpenComm;
}

// The port, ready for use; null when any step of getting it there failed.
std::unique_ptr<platform::SerialPort> SerialLink::OpenConfigured(Device device) {
  const SerialParams wanted = params();
  platform::OpenResult opened = OpenDevice(device, wanted);
  const bool configured = opened.port && Prepare(*opened.port, wanted);
  if (opened.port && !configured) opened.failure.cause = platform::OpenFailureCause::kSettings;
  const std::lock_guard lock(params_mutex_);
  open_failure_ = opened.failure;
  return configured ? std::move(opened.port) : nullptr;
}

bool SerialLink::Prepare(platform::SerialPort& port, const SerialParams& wanted) {
  if (!port.SetQueueSizes(kReceiveQueue, kTransmitQueue)) return false;
  port.Purge(true, true);
  if (!port.SetTimeouts(kDefaultTimeouts) || !port.Configure(LineSettingsOf(wanted))) return false;
  Remember(kDefaultTimeouts);
  return true;
}

platform::OpenResult SerialLink::OpenDevice(Device device, const SerialParams& wanted) {
  // Some systems take a rate of zero or of their own choice; none is asked.
  if (!IsSupportedRate(wanted.baudRate)) return {nullptr, {.cause = platform::OpenFailureCause::kSettings}};
  const platform::PortResolution found = Bind(device, wanted);
  return found.port ? found.port->Open() : platform::OpenResult{nullptr, found.failure};
}

platform::PortResolution SerialLink::Bind(Device device, const SerialParams& wanted) {
  const std::lock_guard lock(params_mutex_);
  if (bound_ && device == Device::kBound) return {bound_, {}};
  platform::PortResolution found = options_.resolve_port(PortAddressOf(wanted));
  bound_ = found.port;
  return found;
}

platform::OpenFailure SerialLink::open_failure() const {
  const std::lock_guard lock(params_mutex_);
  return open_failure_;
}

HRESULT SerialLink::Close() {
  if (!open_) return S_OK;
  const Hold hold(*this);
  if (!hold) return E_FAIL;
  open_ = false;
  SetPort(nullptr);
  return S_OK;
}

void SerialLink::SetPort(std::unique_ptr<platform::SerialPort> port) {
  const std::lock_guard lock(port_life_mutex_);
  if (port && interruptions_ > 0) port->Interrupt(true);
  port_.swap(port);  // closing one may take its time: not with the lock held
}

void SerialLink::AddInterruptions(int count) {
  const std::lock_guard lock(port_life_mutex_);
  interruptions_ += count;
  if (port_) port_->Interrupt(interruptions_ > 0);
}

bool SerialLink::DeviceIsThere() {
  const std::lock_guard lock(port_life_mutex_);
  if (port_ && !port_->IsPresent()) lost_ = true;
  return port_ && !lost_;
}

HRESULT SerialLink::SetTimeouts(std::uint32_t read_ms, std::uint32_t write_ms) {
  return WithPort([&] { return Apply({read_ms, write_ms}) ? S_OK : E_FAIL; });
}

HRESULT SerialLink::GetTimeouts(std::uint32_t* read_ms, std::uint32_t* write_ms) const {
  if (!open_) return serialCommErrCommClosed;
  *read_ms = timeouts().read_ms;
  *write_ms = timeouts().write_ms;
  return S_OK;
}

platform::SerialTimeouts SerialLink::timeouts() const { return {.read_ms = read_ms_, .write_ms = write_ms_}; }

void SerialLink::Remember(const platform::SerialTimeouts& timeouts) {
  read_ms_ = timeouts.read_ms;
  write_ms_ = timeouts.write_ms;
}

bool SerialLink::Apply(const platform::SerialTimeouts& timeouts) {
  const bool applied = port_->SetTimeouts(timeouts);
  if (applied) Remember(timeouts);
  return applied;
}

HRESULT SerialLink::WriteString(std::string_view text, std::uint32_t timeout_ms) {
  return WithPort([&] { return WriteTextLocked(text, timeout_ms); });
}

HRESULT SerialLink::WriteLine(std::string_view text, char terminator, std::uint32_t timeout_ms) {
  return WithPort([&] {
    const HRESULT result = WriteTextLocked(text, timeout_ms);
    if (Failed(result) || terminator == '\0') return result;
    return WriteTextLocked(std::string_view(&terminator, 1), timeout_ms);
  });
}

HRESULT SerialLink::WriteBytes(std::string_view bytes, std::uint32_t timeout_ms) {
  return WithPort([&] { return WriteLocked(bytes, timeout_ms); });
}

HRESULT SerialLink::WriteTextLocked(std::string_view text, std::uint32_t timeout_ms) {
  std::string oem(text);
  platform::OemFromAnsi(oem);
  return WriteLocked(oem, timeout_ms);
}

HRESULT SerialLink::WriteLocked(std::string_view bytes, std::uint32_t timeout_ms) {
  const platform::SerialTimeouts saved = timeouts();
  if (timeout_ms != 0 && !Apply({saved.read_ms, timeout_ms})) return serialCommErrUnableToWriteComm;
  const platform::IoResult written = port_->Write(bytes);
  Note(written);
  trace_.Note(TraceDirection::kSent, bytes.substr(0, written.count));
  if (written.outcome != platform::IoOutcome::kComplete) {
    port_->ClearError();
    return serialCommErrUnableToWriteComm;  // the given timeout stays in force, as programs have come to expect
  }
  return timeout_ms == 0 || Apply(saved) ? S_OK : E_FAIL;
}

HRESULT SerialLink::ReadLine(std::span<char> buffer, char terminator, std::uint32_t timeout_ms) {
  if (!open_) return serialCommErrCommClosed;
  if (buffer.size() < 2) return S_OK;
  return WithPort([&] { return ReadLineLocked(buffer, terminator, timeout_ms); });
}

HRESULT SerialLink::ReadLineLocked(std::span<char> buffer, char terminator, std::uint32_t timeout_ms) {
  ReadTimeout timeout(*this, timeout_ms);
  std::size_t filled = 0;
  const HRESULT read = timeout.applied() ? ReadUpTo(buffer, terminator, filled) : serialCommErrUnableToReadComm;
  const bool restored = timeout.Restore();
  // Text is converted after a failed read too, as far as it came.
  if (oemConversion && timeout.applied() && restored) platform::AnsiFromOem(buffer.first(filled));
  return restored ? read : E_FAIL;
}

// `filled` counts the bytes read, the terminator not among them.
HRESULT SerialLink::ReadUpTo(std::span<char> buffer, char terminator, std::size_t& filled) {
  platform::IoResult got;
  while (filled < buffer.size() - 1) {
    last_error_ = 0;
    got = port_->Read(buffer.subspan(filled, 1));
    if (got.outcome != platform::IoOutcome::kComplete || buffer[filled] == terminator) break;
    ++filled;
  }
  const bool complete = got.outcome == platform::IoOutcome::kComplete;
  const bool terminated = complete && filled < buffer.size() - 1;
  trace_.Note(TraceDirection::kReceived, std::string_view(buffer.data(), filled + (terminated ? 1 : 0)));
  if (complete) {
    buffer[filled] = '\0';
    return S_OK;
  }
  Note(got);
  last_error_ = got.os_error;
  port_->ClearError();
  return serialCommErrUnableToReadComm;
}

std::string SerialLink::ReadLineText(int buffer_size, char terminator, std::uint32_t timeout_ms) {
  std::vector<char> buffer(static_cast<std::size_t>(std::max(buffer_size, 0)) + 1);
  const auto line = std::span(buffer).first(buffer.size() - 1);
  return Failed(ReadLine(line, terminator, timeout_ms)) ? std::string() : std::string(buffer.data());
}

HRESULT SerialLink::ReadBytes(std::span<char> buffer, std::uint32_t timeout_ms) {
  if (!open_) return serialCommErrCommClosed;
  if (buffer.empty()) return S_OK;
  return WithPort([&]() -> HRESULT {
    ReadTimeout timeout(*this, timeout_ms);
    HRESULT result = serialCommErrUnableToReadComm;
    if (timeout.applied()) {
      const platform::IoResult got = port_->Read(buffer);
      Note(got);
      trace_.Note(TraceDirection::kReceived, std::string_view(buffer.data(), got.count));
      if (got.count > 0 && got.outcome != platform::IoOutcome::kLinkLost) result = S_OK;
      if (Failed(result)) port_->ClearError();
    }
    return timeout.Restore() ? result : E_FAIL;
  });
}

HRESULT SerialLink::Purge(bool input, bool output) {
  if (!input && !output) return S_OK;
  return WithPort([&] {
    port_->Purge(input, output);
    return S_OK;
  });
}

}  // namespace ulix

#include "links/serial_link.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "base/trace.h"
#include "links/lock_problem.h"
#include "links/serial_errors.h"
#include "platform/code_page.h"
#include "platform/mutex.h"

namespace ulix {
namespace {

constexpr std::uint32_t kReceiveQueue = 2000;
constexpr std::uint32_t kTransmitQueue = 1000;
constexpr Milliseconds kMaxCloseWait{1000};
constexpr platform::SerialTimeouts kDefaultTimeouts = {.read_ms = 1000, .write_ms = 1000};

constexpr LinkCodes kCodes = {.unopened = serialCommErrUnableToOpenComm,
                              .closed = serialCommErrCommClosed,
                              .unwritten = serialCommErrUnableToWriteComm,
                              .unread = serialCommErrUnableToReadComm,
                              .lost_reading = serialCommErrUnableToReadComm,
                              .lost = serialCommErrCommClosed};

bool IsOneOf(std::span<const std::uint32_t> rates, std::uint32_t rate) {
  return std::find(rates.begin(), rates.end(), rate) != rates.end();
}

bool RanOutOfTime(const platform::IoResult& result) {
  return result.outcome == platform::IoOutcome::kNoFirstByte || result.outcome == platform::IoOutcome::kStoppedMidway;
}

}  // namespace

// Holds the mutexes of one operation on the port: the link's own and, for a port that other programs can reach, the
// machine-wide one.
class SerialLink::Hold {
 public:
  explicit Hold(SerialLink& link) : Hold(link, nullptr) {}
  // For a port that is opened next.
  Hold(SerialLink& link, const platform::BoundPort* port) : own_(link.own_mutex_) {
    const bool of_machine = port ? port->IsOfMachine() : link.of_machine_;
    if (!of_machine) return;
    platform::LockProblem problem;
    held_ = link.port_mutex_.LockFor(link.options_.lock_wait, &problem);
    if (held_) machine_ = &link.port_mutex_;
    if (!held_) link.NoteNoTurn(problem);
  }
  ~Hold() {
    if (machine_) machine_->Unlock();
  }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;
  explicit operator bool() const { return held_; }

 private:
  const std::lock_guard<platform::Mutex> own_;
  platform::NamedMutex* machine_ = nullptr;
  bool held_ = true;
};

// Sets a read timeout for one call; 0 keeps the present one. Restore sets the earlier one again.
class SerialLink::ReadTimeout {
 public:
  ReadTimeout(SerialLink& link, std::uint32_t timeout_ms) : link_(link), saved_(link.timeouts()) {
    if (timeout_ms != 0) applied_ = changed_ = link.Apply({timeout_ms, saved_.write_ms});
  }
  bool applied() const { return applied_; }
  // Restores the earlier timeout. Returns the outcome of the read, or that of a refused timeout.
  LinkOutcome Restore(LinkOutcome read) {
    if (!changed_ || link_.Apply(saved_)) return applied_ ? read : LinkOutcome::kNotSet;
    return LinkOutcome::kNotPutBack;
  }

 private:
  SerialLink& link_;
  platform::SerialTimeouts saved_;
  bool changed_ = false;
  bool applied_ = true;
};

SerialLink::SerialLink(Options options)
    : Link({.params = this, .serial = this}),
      options_(std::move(options)),
      port_mutex_(kPortMutexName),
      trace_(options_.trace) {}

// Runs an operation on the open port while it holds the mutexes, and traces its bytes afterwards.
template <typename Body>
LinkOutcome SerialLink::WithPort(Body&& body) {
  if (!open_) return LinkOutcome::kNotOpen;
  LinkOutcome result = LinkOutcome::kNoTurn;
  HeldTrace::Pieces passed;
  if (const Hold hold(*this); hold) {
    result = port_ ? body() : LinkOutcome::kNotOpen;  // closed while this call waited
    passed = trace_.Take();
  }
  trace_.Tell(passed);
  return result;
}

LinkOutcome SerialLink::Note(const platform::IoResult& result) {
  if (result.outcome == platform::IoOutcome::kLinkLost) lost_ = true;
  return OutcomeOf(result.outcome);
}

LinkCodes SerialLink::codes() const { return kCodes; }

std::span<const ErrorRow> SerialLink::errors() const { return SerialErrorTexts(); }

HRESULT SerialLink::LoadParams(VariantReader& reader) {
  SerialParams loaded = params();
  const HRESULT result = ulix::LoadParams(reader, loaded);
  SetParams(loaded);
  return result;
}

SerialParams SerialLink::params() const {
  const std::lock_guard lock(params_mutex_);
  return params_;
}

void SerialLink::SetParams(const SerialParams& params) {
  const std::lock_guard lock(params_mutex_);
  params_ = params;
}

bool SerialLink::TakesRate(std::uint32_t rate) const {
  return IsOneOf(options_.baud_rates, rate) || (options_.other_rates && IsOneOf(kBaudRates, rate));
}

HRESULT SerialLink::ChooseParams(const SerialParams& params) {
  if (!options_.other_rates && !TakesRate(params.baudRate)) return E_INVALIDARG;
  SetParams(params);
  return S_OK;
}

HRESULT SerialLink::Open() { return Open(Device::kAnew); }
HRESULT SerialLink::Reopen() { return Open(Device::kBound); }

HRESULT SerialLink::Open(Device device) {
  if (open_) return S_OK;
  const SerialParams wanted = params();
  const platform::PortResolution found = Find(device, wanted);
  const Hold hold(*this, found.port.get());
  if (!hold) return E_FAIL;
  if (port_) return S_OK;
  SetPort(OpenConfigured(found, wanted));
  lost_ = false;
  open_ = port_ != nullptr;
  return open_ ? S_OK : serialCommErrUnableToOpenComm;
}

// The opened and configured port; null when a step failed.
std::unique_ptr<platform::SerialPort> SerialLink::OpenConfigured(const platform::PortResolution& found,
                                                                 const SerialParams& wanted) {
  if (found.port) of_machine_ = found.port->IsOfMachine();
  platform::OpenResult opened = found.port ? found.port->Open() : platform::OpenResult{nullptr, found.failure};
  const bool configured = opened.port && Prepare(*opened.port, wanted);
  if (opened.port && !configured) opened.failure.cause = platform::OpenFailureCause::kSettings;
  const std::lock_guard lock(params_mutex_);
  if (found.port) bound_ = found.port;
  open_failure_ = opened.failure;
  return configured ? std::move(opened.port) : nullptr;
}

bool SerialLink::Prepare(platform::SerialPort& port, const SerialParams& wanted) {
  if (!port.SetQueueSizes(kReceiveQueue, kTransmitQueue)) return false;
  port.Purge(true, true);
  if (!port.SetTimeouts(kDefaultTimeouts) || !port.Configure(LineSettingsOf(wanted))) return false;
  Remember(kDefaultTimeouts);
  character_time_ = platform::TransmissionTime(LineSettingsOf(wanted), 1);
  wire_free_ = {};
  return true;
}

// The device of the last Open for a reconnection, else the device that the settings name now.
platform::PortResolution SerialLink::Find(Device device, const SerialParams& wanted) const {
  // Some systems accept a rate of 0 or set another rate, so an unsupported rate never reaches the system.
  if (!TakesRate(wanted.baudRate)) return {nullptr, {.cause = platform::OpenFailureCause::kSettings}};
  if (device == Device::kBound) {
    const std::lock_guard lock(params_mutex_);
    if (bound_) return {bound_, {}};
  }
  return options_.resolve_port(PortAddressOf(wanted));
}

void SerialLink::NoteNoTurn(const platform::LockProblem& problem) {
  TraceLine(Described(problem, Language::kEnglish));
  const std::lock_guard lock(params_mutex_);
  open_failure_ = {.cause = platform::OpenFailureCause::kNoTurn,
                   .os_error = problem.os_error,
                   .holder = problem.holder,
                   .lock = problem};
}
platform::OpenFailure SerialLink::open_failure() const {
  const std::lock_guard lock(params_mutex_);
  return open_failure_;
}

HRESULT SerialLink::Close() {
  if (!open_) return S_OK;
  const Hold hold(*this);
  if (!hold) return E_FAIL;
  // Some drivers and all pseudo terminals discard bytes that have not left when the port is closed or opened again.
  if (DeviceIsThere()) options_.clock->SleepFor(std::min(TimeLeftOnWire(), kMaxCloseWait));
  open_ = false;
  SetPort(nullptr);
  return S_OK;
}

void SerialLink::SetPort(std::unique_ptr<platform::SerialPort> port) {
  const std::lock_guard lock(port_life_mutex_);
  if (port && interruptions_ > 0) port->Interrupt(true);
  port_.swap(port);  // the old port is closed after the lock is released, because closing may take time
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
  const LinkOutcome set = WithPort([&] {
    return Apply({read_ms, write_ms}) ? LinkOutcome::kComplete : LinkOutcome::kNotPutBack;
  });
  return CodeOfStep(LinkStep::kWrite, set);
}

HRESULT SerialLink::ApplyTimeouts(std::uint32_t read_ms, std::uint32_t write_ms) {
  if (read_ms == 0 && write_ms == 0) return S_OK;
  return SetTimeouts(read_ms != 0 ? read_ms : read_ms_.load(), write_ms != 0 ? write_ms : write_ms_.load());
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

void SerialLink::NoteWritten(std::size_t count) {
  wire_free_ = std::max(wire_free_, options_.clock->Now()) + character_time_ * count;
}

Milliseconds SerialLink::TimeLeftOnWire() {
  const auto left = std::chrono::ceil<Milliseconds>(wire_free_ - options_.clock->Now());
  return std::max(left, Milliseconds(0));
}

HRESULT SerialLink::WriteString(std::string_view text, std::uint32_t timeout_ms) {
  return CodeOfStep(LinkStep::kWrite, SendLine(text, '\0', timeout_ms));
}

HRESULT SerialLink::WriteLine(std::string_view text, char terminator, std::uint32_t timeout_ms) {
  return CodeOfStep(LinkStep::kWrite, SendLine(text, terminator, timeout_ms));
}

HRESULT SerialLink::WriteBytes(std::string_view bytes, std::uint32_t timeout_ms) {
  return CodeOfStep(LinkStep::kWrite, SendBytes(bytes, timeout_ms));
}

LinkOutcome SerialLink::SendLine(std::string_view text, char terminator, std::uint32_t timeout_ms, Input input) {
  return WithPort([&] {
    if (input == Input::kDiscard) port_->Purge(true, false);
    const bool in_one = terminator != '\0' && port_->WritesArePackets();
    if (in_one) return WriteTextLocked(std::string(text) + terminator, timeout_ms);
    const LinkOutcome sent = WriteTextLocked(text, timeout_ms);
    if (!IsComplete(sent) || terminator == '\0') return sent;
    return WriteTextLocked(std::string_view(&terminator, 1), timeout_ms);
  });
}

LinkOutcome SerialLink::SendBytes(std::string_view bytes, std::uint32_t timeout_ms) {
  return WithPort([&] { return WriteLocked(bytes, timeout_ms); });
}

LinkOutcome SerialLink::WriteTextLocked(std::string_view text, std::uint32_t timeout_ms) {
  std::string oem(text);
  platform::OemFromAnsi(oem);
  return WriteLocked(oem, timeout_ms);
}

LinkOutcome SerialLink::WriteLocked(std::string_view bytes, std::uint32_t timeout_ms) {
  const platform::SerialTimeouts saved = timeouts();
  if (timeout_ms != 0 && !Apply({saved.read_ms, timeout_ms})) return LinkOutcome::kNotSet;
  const platform::IoResult written = port_->Write(bytes);
  NoteWritten(written.count);
  trace_.Note(TraceDirection::kSent, bytes.substr(0, written.count));
  if (written.outcome != platform::IoOutcome::kComplete) {
    port_->ClearError();
    return Note(written);  // deliberate: the timeout of this call stays in force, because hosts expect it
  }
  return timeout_ms == 0 || Apply(saved) ? LinkOutcome::kComplete : LinkOutcome::kNotPutBack;
}

// Reads from the port. The timeout begins when the written bytes have left. So if the port's time was over earlier, the
// read goes on for the rest of that time.
platform::IoResult SerialLink::ReadFrom(std::span<char> bytes) {
  const platform::IoResult got = port_->Read(bytes);
  if (got.count > 0) wire_free_ = {};  // a reply has begun, so the written bytes have left
  const platform::SerialTimeouts own = timeouts();
  if (!RanOutOfTime(got) || own.read_ms == 0 || wire_free_ == MonotonicTime{}) return got;
  const auto end = std::exchange(wire_free_, {}) + Milliseconds(own.read_ms);
  const auto left = std::chrono::ceil<Milliseconds>(end - options_.clock->Now()).count();
  if (left <= 0 || !Apply({static_cast<std::uint32_t>(left), own.write_ms})) return got;
  platform::IoResult more = port_->Read(bytes.subspan(got.count));
  Apply(own);
  more.count += got.count;
  if (more.outcome == platform::IoOutcome::kNoFirstByte) more.outcome = got.outcome;
  return more;
}

HRESULT SerialLink::ReadLine(std::span<char> buffer, char terminator, std::uint32_t timeout_ms) {
  const Received got = ReceiveLine(buffer, terminator, timeout_ms);
  return CodeOfStep(LinkStep::kRead, got.outcome);
}

SerialLink::Received SerialLink::ReceiveLine(std::span<char> buffer, char terminator, std::uint32_t timeout_ms) {
  Received got;
  if (!open_) return {LinkOutcome::kNotOpen};
  if (buffer.size() < 2) return got;
  got.outcome = WithPort([&] { return ReadLineLocked(buffer, terminator, timeout_ms, got.count); });
  return got;
}

LinkOutcome SerialLink::ReadLineLocked(std::span<char> buffer, char terminator, std::uint32_t timeout_ms,
                                       std::size_t& filled) {
  ReadTimeout timeout(*this, timeout_ms);
  const LinkOutcome read = timeout.applied() ? ReadUpTo(buffer, terminator, filled) : LinkOutcome::kNotSet;
  const LinkOutcome result = timeout.Restore(read);
  // The received part of a failed read is converted too.
  if (oemConversion && timeout.applied() && result == read) platform::AnsiFromOem(buffer.first(filled));
  return result;
}

// `filled` counts the bytes read, without the terminator.
LinkOutcome SerialLink::ReadUpTo(std::span<char> buffer, char terminator, std::size_t& filled) {
  platform::IoResult got;
  while (filled < buffer.size() - 1) {
    last_error_ = 0;
    got = ReadFrom(buffer.subspan(filled, 1));
    if (got.outcome != platform::IoOutcome::kComplete || buffer[filled] == terminator) break;
    ++filled;
  }
  const bool complete = got.outcome == platform::IoOutcome::kComplete;
  const bool terminated = complete && filled < buffer.size() - 1;
  trace_.Note(TraceDirection::kReceived, std::string_view(buffer.data(), filled + (terminated ? 1 : 0)));
  if (complete) {
    buffer[filled] = '\0';
    return terminated ? LinkOutcome::kComplete : LinkOutcome::kTooLong;
  }
  last_error_ = got.os_error;
  port_->ClearError();
  if (got.outcome == platform::IoOutcome::kNoFirstByte && filled > 0) got.outcome = platform::IoOutcome::kStoppedMidway;
  return Note(got);
}

std::string SerialLink::ReadLineText(int buffer_size, char terminator, std::uint32_t timeout_ms) {
  std::vector<char> buffer(static_cast<std::size_t>(std::max(buffer_size, 0)) + 1);
  const auto line = std::span(buffer).first(buffer.size() - 1);
  return Failed(ReadLine(line, terminator, timeout_ms)) ? std::string() : std::string(buffer.data());
}

// A short read is a success; the caller knows the size of its frame.
HRESULT SerialLink::ReadBytes(std::span<char> buffer, std::uint32_t timeout_ms) {
  const Received got = ReceiveBytes(buffer, timeout_ms);
  const bool some = got.count > 0 && got.outcome != LinkOutcome::kLinkLost && got.outcome != LinkOutcome::kNotPutBack;
  return some ? S_OK : CodeOfStep(LinkStep::kRead, got.outcome);
}

SerialLink::Received SerialLink::ReceiveBytes(std::span<char> buffer, std::uint32_t timeout_ms) {
  Received got;
  if (!open_) return {LinkOutcome::kNotOpen};
  if (buffer.empty()) return got;
  got.outcome = WithPort([&] { return ReadBytesLocked(buffer, timeout_ms, got.count); });
  return got;
}

LinkOutcome SerialLink::ReadBytesLocked(std::span<char> buffer, std::uint32_t timeout_ms, std::size_t& count) {
  ReadTimeout timeout(*this, timeout_ms);
  if (!timeout.applied()) return LinkOutcome::kNotSet;
  const platform::IoResult got = ReadFrom(buffer);
  count = got.count;
  trace_.Note(TraceDirection::kReceived, std::string_view(buffer.data(), count));
  if (count == 0 || got.outcome == platform::IoOutcome::kLinkLost) port_->ClearError();
  return timeout.Restore(Note(got));
}

HRESULT SerialLink::Purge(bool input, bool output) { return CodeOfStep(LinkStep::kWrite, Discard(input, output)); }

LinkOutcome SerialLink::Discard(bool input, bool output) {
  if (!input && !output) return LinkOutcome::kComplete;
  return WithPort([&] {
    port_->Purge(input, output);
    return LinkOutcome::kComplete;
  });
}

}  // namespace ulix

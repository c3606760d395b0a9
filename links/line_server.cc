#include "links/line_server.h"

#include <algorithm>
#include <array>
#include <thread>
#include <utility>

#include "links/serial_link.h"

namespace ulix {
namespace {

using platform::IoOutcome;
using platform::OpenFailure;
using platform::OpenFailureCause;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kOpenWait{60'000};
constexpr milliseconds kPollPeriod{50};  // for `stop` and for a device that is back, which have no event
constexpr milliseconds kTurnWait{1000};  // between checks of `stop`
constexpr milliseconds kReopenPeriod{300};
constexpr milliseconds kMaxLeaveWait{1000};
constexpr std::uint32_t kServedReceiveQueue = 4096;
constexpr std::uint32_t kServedTransmitQueue = 4096;
constexpr platform::SerialTimeouts kTimeouts = {.read_ms = 50, .write_ms = 50};
// When this much waits for the line, no more is read from the client.
constexpr std::size_t kMaxToLine = 65536;
// Replaces a byte that arrived damaged, so that a value with this byte is not a valid number.
constexpr char kDamagedByte = '\0';

}  // namespace

// Holds the machine-wide lock of serial traffic, unless the client holds it itself.
class LineServer::Turn {
 public:
  explicit Turn(LineServer& server)
      : Turn(server, server.client_.number != 0 && !server.client_.of_machine, kTurnWait) {}
  Turn(LineServer& server, bool needed, milliseconds wait, platform::LockProblem* problem = nullptr) {
    if (!needed || !server.bound_->IsOfMachine()) return;
    had_ = server.machine_mutex_.LockFor(wait, problem);
    if (had_) mutex_ = &server.machine_mutex_;
  }
  ~Turn() {
    if (mutex_) mutex_->Unlock();
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;
  explicit operator bool() const { return had_; }

 private:
  platform::NamedMutex* mutex_ = nullptr;
  bool had_ = true;
};

LineServer::LineServer(std::shared_ptr<platform::BoundPort> port, Options options)
    : bound_(std::move(port)),
      options_(std::move(options)),
      machine_mutex_(kPortMutexName),
      settings_(options_.settings) {}

LineServer::~LineServer() { LetOutputLeave(); }

OpenFailure LineServer::Open() { return OpenInTurn(kOpenWait); }

OpenFailure LineServer::OpenInTurn(milliseconds wait) {
  platform::LockProblem problem;
  const Turn turn(*this, true, wait, &problem);
  if (!turn) return {.cause = OpenFailureCause::kNoTurn, .os_error = problem.os_error, .lock = problem};
  platform::OpenResult opened = bound_->Open();
  if (!opened.port) return opened.failure;
  opened.port->SetQueueSizes(kServedReceiveQueue, kServedTransmitQueue);
  settings_ = options_.settings;
  if (!opened.port->SetTimeouts(kTimeouts) || !opened.port->Configure(settings_)) {
    return {.cause = OpenFailureCause::kSettings};
  }
  opened.port->Purge(true, true);
  port_ = std::move(opened.port);
  return {};
}

LineControl LineServer::Control() {
  return {.configure = [this](const platform::LineSettings& settings) { return Configure(settings); },
          .set_signal = [this](platform::LineSignal signal, bool on) { return port_ && port_->SetSignal(signal, on); },
          .purge = [this](bool input, bool output) { Purge(input, output); },
          .modem_inputs = [this] { return port_ ? port_->modem_inputs() : std::nullopt; },
          .take_damage = [this] { return std::exchange(damaged_, false); }};
}

void LineServer::Serve(platform::ByteEndpoint& endpoint, const std::atomic<bool>& stop) {
  endpoint_ = &endpoint;
  SetRefusal({});
  std::array<char, 4096> buffer;
  while (!stop) {
    endpoint.WakeOn(port_ ? port_->input_handle() : platform::kNoInput);
    std::size_t count = 0;
    if (to_line_.size() < kMaxToLine) count = endpoint.Read(buffer, to_line_.empty() ? kPollPeriod : milliseconds(0));
    NoteClient();
    to_line_.append(buffer.data(), count);
    if (port_) PassToLine();
    if (port_) PassToClient();
    if (!port_) ReopenLine();
  }
  if (port_) PassToLine();
}

// Notices when a client has come or left.
void LineServer::NoteClient() {
  const platform::EndpointClient now = endpoint_->client();
  if (now.number == client_.number) return;
  if (client_.number != 0) options_.tell(LineEvent::kClientLeft, client_.address);
  client_ = now;
  if (client_.number == 0) return;
  options_.tell(LineEvent::kClientCame, client_.address);
  StartClient();
}

// Clears what the client before has left.
void LineServer::StartClient() {
  to_line_.clear();
  damaged_ = false;
  if (!port_) return;
  LetOutputLeave();
  Configure(options_.settings);
  Purge(true, false);
}

bool LineServer::Configure(const platform::LineSettings& settings) {
  NoteClient();
  const Turn turn(*this);
  if (!port_ || !turn || !port_->Configure(settings)) return false;
  settings_ = settings;
  return true;
}

void LineServer::Purge(bool input, bool output) {
  NoteClient();
  if (output) to_line_.clear();
  const Turn turn(*this);
  if (port_ && turn) port_->Purge(input, output);
  if (input) damaged_ = false;
}

void LineServer::PassToLine() {
  if (to_line_.empty()) return;
  const Turn turn(*this);
  if (!turn) return;
  const platform::IoResult written = port_->Write(to_line_);
  to_line_.erase(0, written.count);
  wire_free_ = std::max(wire_free_, steady_clock::now()) + TransmissionTime(settings_, written.count);
  if (written.outcome == IoOutcome::kLinkLost) LoseLine();
}

// Runs also without a client, so that a lost device is noticed.
void LineServer::PassToClient() {
  const Turn turn(*this);
  if (!turn) return;
  std::array<char, 4096> buffer;
  const platform::IoResult got = port_->ReadAvailable(buffer);
  std::string bytes(buffer.data(), got.count);
  if (got.outcome == IoOutcome::kDamaged) bytes += kDamagedByte;
  damaged_ |= got.outcome == IoOutcome::kDamaged;
  if (!bytes.empty()) endpoint_->Write(bytes);
  if (got.outcome == IoOutcome::kLinkLost || !port_->IsPresent()) LoseLine();
}

// The client is disconnected without a text, because it would take a text for a reply of the instrument.
void LineServer::LoseLine() {
  port_.reset();
  to_line_.clear();
  endpoint_->WakeOn(platform::kNoInput);
  SetRefusal(options_.lost_refusal);
  endpoint_->DropClient();
  options_.tell(LineEvent::kLineLost, bound_->location());
  NoteClient();
}

void LineServer::ReopenLine() {
  if (steady_clock::now() < next_open_) return;
  next_open_ = steady_clock::now() + kReopenPeriod;
  if (OpenInTurn(kPollPeriod).cause != OpenFailureCause::kNone) return;
  SetRefusal({});
  options_.tell(LineEvent::kLineBack, bound_->location());
}

void LineServer::SetRefusal(const std::string& to_all) {
  endpoint_->SetRefusal({.busy = options_.busy_refusal, .closed = to_all});
}

// Some drivers and all pseudo terminals discard bytes that have not left when the port is closed or configured.
void LineServer::LetOutputLeave() const {
  const auto last = steady_clock::now() + kMaxLeaveWait;
  if (port_) std::this_thread::sleep_until(std::min(wire_free_, last));
}

}  // namespace ulix

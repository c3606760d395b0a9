#include "links/network_port.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <thread>
#include <utility>

#include "base/text.h"
#include "links/telnet.h"
#include "platform/port_list.h"
#include "platform/socket.h"

namespace ulix {
namespace {

using platform::IoOutcome;
using platform::IoResult;
using platform::OpenFailure;
using platform::OpenFailureCause;
using platform::SocketWait;
using platform::StreamSocket;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kConnectWait{5000};
// A server that accepts no further client sends a text at once and closes the connection.
constexpr milliseconds kRefusalWait{50};
constexpr milliseconds kAnswerWait{1000};  // for the server's answer to a setting
constexpr milliseconds kNegotiationWait{
    3000};  // for the answer to the first offers; the server may still be busy with its last client
constexpr milliseconds kCloseWait{300};
constexpr milliseconds kSettleTime{100};
constexpr milliseconds kFenceWait{500};  // for the answer to a purge
// A wait is cut into slices of at most this time, so that it can be interrupted.
constexpr milliseconds kMaxSlice{200};
constexpr std::size_t kMaxRefusalText = 200;

// A connection as a serial port. The two derived classes encode and decode its bytes.
class NetworkPort : public platform::SerialPort {
 public:
  explicit NetworkPort(std::unique_ptr<StreamSocket> socket) : socket_(std::move(socket)) {}

  // Waits until the server has closed the connection too. Closing with unread bytes would reset the connection, and the
  // server might then drop the last command.
  ~NetworkPort() override {
    if (lost_) return;
    // Servers discard the output of a client that leaves, so the last command gets time to leave first.
    std::this_thread::sleep_until(last_write_ + kSettleTime);
    socket_->FinishSending();
    std::array<char, 256> rest;
    const auto end = steady_clock::now() + kCloseWait;
    while (socket_->AwaitReadable(std::max(LeftUntil(end), milliseconds(0))) == SocketWait::kReady) {
      if (socket_->Receive(rest) <= 0) return;
    }
  }

  bool SetQueueSizes(std::uint32_t, std::uint32_t) override { return true; }
  bool SetTimeouts(const platform::SerialTimeouts& timeouts) override {
    timeouts_ = timeouts;
    return true;
  }

  IoResult Read(std::span<char> bytes) override {
    std::optional<steady_clock::time_point> end;
    if (damaged_) return Damaged(0);
    std::size_t count = TakeReceived(bytes);
    while (count < bytes.size()) {
      if (!end) end = EndOf(timeouts_.read_ms);
      IoResult more = AwaitMore(*end);
      if (damaged_) return Damaged(count);
      count += TakeReceived(bytes.subspan(count));
      if (count == bytes.size()) break;
      if (more.outcome == IoOutcome::kComplete) continue;
      if (more.outcome == IoOutcome::kNoFirstByte && count > 0) more.outcome = IoOutcome::kStoppedMidway;
      unfinished_ = true;
      more.count = count;
      return more;
    }
    return {IoOutcome::kComplete, count, 0};
  }

  IoResult Write(std::string_view bytes) override {
    const IoResult sent = SendAll(Encoded(bytes), EndOf(timeouts_.write_ms));
    last_write_ = steady_clock::now();
    if (sent.outcome == IoOutcome::kComplete) return {IoOutcome::kComplete, bytes.size(), 0};
    return {sent.outcome, std::min(sent.count, bytes.size()), sent.os_error};
  }

  bool WritesArePackets() const override { return true; }

  void ClearError() override {}

  bool IsPresent() override {
    ReceiveSome();
    return !lost_;
  }

  void Interrupt(bool on) override { interrupted_ = on; }

  // Whether anything came from the server.
  bool has_answered() const { return answered_; }

  // The server's text if it closed the connection at once; may be empty. None if the connection is open.
  std::optional<std::string> Refusal() {
    const auto end = steady_clock::now() + kRefusalWait;
    while (!lost_ && AwaitMore(end).outcome == IoOutcome::kComplete && received_.size() < kMaxRefusalText) {
    }
    if (!lost_) return std::nullopt;
    std::string text = received_.substr(0, kMaxRefusalText);
    std::erase_if(text, [](char c) { return static_cast<unsigned char>(c) < ' '; });
    return std::string(Trimmed(text));
  }

 protected:
  virtual std::string Encoded(std::string_view data) = 0;
  // Appends the data in `bytes` to `data`.
  virtual void Decode(std::string_view bytes, std::string& data) = 0;

  IoResult SendAll(std::string_view bytes, steady_clock::time_point end) {
    std::size_t count = 0;
    while (count < bytes.size()) {
      const int sent = lost_ ? -1 : socket_->Send(bytes.substr(count));
      if (sent >= 0) {
        count += static_cast<std::size_t>(sent);
        continue;
      }
      if (lost_ || !socket_->WouldWait()) return Lost(count);
      const auto left = LeftUntil(end);
      if (left.count() <= 0) return {count > 0 ? IoOutcome::kStoppedMidway : IoOutcome::kNoFirstByte, count, 0};
      if (socket_->AwaitWritable(std::min(left, kMaxSlice)) == SocketWait::kFailed) return Lost(count);
    }
    return {IoOutcome::kComplete, count, 0};
  }

  // Waits until anything has come from the server.
  IoResult AwaitMore(steady_clock::time_point end) {
    for (;;) {
      if (lost_) return Lost(0);
      const auto left = LeftUntil(end);
      const bool came = ReceiveSome(std::clamp(left, milliseconds(0), kMaxSlice));
      if (lost_) return received_.empty() ? Lost(0) : IoResult{};
      if (came) return {};
      if (left.count() <= 0) return {IoOutcome::kNoFirstByte, 0, 0};
      if (interrupted_) return {IoOutcome::kCancelled, 0, 0};
    }
  }

  // Receives the bytes that are there, or waits up to `wait` for the first ones. Whether there were any.
  bool ReceiveSome(milliseconds wait = milliseconds(0)) {
    std::array<char, 4096> buffer;
    const int count = lost_ ? 0 : wait.count() > 0 ? socket_->ReceiveWithin(buffer, wait) : socket_->Receive(buffer);
    answered_ |= count > 0;
    if (count > 0) Decode({buffer.data(), static_cast<std::size_t>(count)}, received_);
    if (count == 0 || (count < 0 && !socket_->WouldWait())) lost_ = true;
    return count > 0;
  }

  // Discards received bytes. Whether there were any, or a read was incomplete, so that more may follow.
  bool Discard() {
    ReceiveSome();
    const bool stale = !received_.empty() || unfinished_;
    received_.clear();
    unfinished_ = false;
    damaged_ = false;
    return stale;
  }
  // The server has reported a damaged byte: the bytes around it are not a valid reply.
  void NoteDamage() { damaged_ = true; }
  void ForgetReceived() { received_.clear(); }
  bool lost() const { return lost_; }

 private:
  static steady_clock::time_point EndOf(std::uint32_t ms) {
    return ms == 0 ? steady_clock::time_point::max() : steady_clock::now() + milliseconds(ms);
  }
  static milliseconds LeftUntil(steady_clock::time_point end) {
    if (end == steady_clock::time_point::max()) return kMaxSlice;
    return std::chrono::ceil<milliseconds>(end - steady_clock::now());
  }
  std::size_t TakeReceived(std::span<char> bytes) {
    const std::size_t count = received_.copy(bytes.data(), bytes.size());
    received_.erase(0, count);
    return count;
  }
  IoResult Lost(std::size_t count) {
    lost_ = true;
    return {IoOutcome::kLinkLost, count, kConnectionReset};
  }

  IoResult Damaged(std::size_t count) {
    damaged_ = false;
    unfinished_ = true;
    return {IoOutcome::kDamaged, count, kDamagedByte};
  }

  static constexpr std::uint32_t kConnectionReset = 104;
  static constexpr std::uint32_t kDamagedByte = 84;

  std::unique_ptr<StreamSocket> socket_;
  platform::SerialTimeouts timeouts_;
  std::string received_;  // data that was not read yet
  steady_clock::time_point last_write_{};
  bool lost_ = false;
  bool damaged_ = false;
  bool answered_ = false;
  bool unfinished_ = true;  // since the last purge a read was incomplete, or there was no purge yet
  std::atomic<bool> interrupted_ = false;
};

// The server has its own line settings. They are not known here, so every setting is accepted.
class RawPort final : public NetworkPort {
 public:
  using NetworkPort::NetworkPort;
  bool Configure(const platform::LineSettings& settings) override { return settings.baud_rate != 0; }
  void Purge(bool input, bool) override {
    if (input) Discard();
  }

 private:
  std::string Encoded(std::string_view data) override { return std::string(data); }
  void Decode(std::string_view bytes, std::string& data) override { data += bytes; }
};

std::uint8_t ParityValue(platform::Parity parity) {
  return parity == platform::Parity::kOdd ? 2 : parity == platform::Parity::kEven ? 3 : 1;
}

std::uint8_t FlowValue(platform::FlowControl flow) {
  return flow == platform::FlowControl::kXonXoff  ? telnet::kXonXoffFlow
         : flow == platform::FlowControl::kDtrDsr ? telnet::kDsrFlow
                                                  : telnet::kNoFlow;
}

class Rfc2217Port final : public NetworkPort, private telnet::Listener {
 public:
  using NetworkPort::NetworkPort;

  // Offers the options. Whether the server accepts line settings.
  bool Negotiate() {
    using namespace telnet;
    sent_ = {OptionCommand(kWill, kComPort), OptionCommand(kWill, kBinary), OptionCommand(kDo, kBinary),
             OptionCommand(kDo, kSuppressGoAhead)};
    std::string offers;
    for (const std::string& offer : sent_) offers += offer;
    if (!Command(offers)) return false;
    const auto end = steady_clock::now() + kNegotiationWait;
    while (!com_port_ && !refused_ && AwaitMore(end).outcome == IoOutcome::kComplete) {
    }
    return com_port_;
  }

  bool Configure(const platform::LineSettings& line) override {
    using namespace telnet;
    const std::array<std::pair<std::uint8_t, std::string>, 4> wanted = {
        {{telnet::kBaudRate, RateValue(line.baud_rate)},
         {telnet::kDataBits, OneByte(static_cast<std::uint8_t>(line.data_bits))},
         {telnet::kParity, OneByte(ParityValue(line.parity))},
         {telnet::kStopBits, OneByte(static_cast<std::uint8_t>(line.stop_bits))}}};
    answers_.clear();
    std::string commands;
    for (const auto& [code, value] : wanted) commands += ComPortCommand(code, value);
    for (const std::uint8_t control : {FlowValue(line.flow_control), std::uint8_t{kDtrOn}, std::uint8_t{kRtsOn}}) {
      commands += ComPortCommand(kControl, control);
    }
    commands += ComPortCommand(kLineStateMask, kDamage) + ComPortCommand(kModemStateMask, std::uint8_t{0});
    if (!Command(commands)) return false;
    const auto end = steady_clock::now() + kAnswerWait;
    return std::all_of(wanted.begin(), wanted.end(),
                       [&](const auto& setting) { return Answer(setting.first, end) == setting.second; });
  }

  // Asks the server to discard bytes that it has received and not passed on, if there may be any. Its answer follows
  // all earlier bytes, so everything before the answer is discarded. After an exchange that left nothing, no request is
  // sent, which saves a round trip.
  void Purge(bool input, bool output) override {
    using namespace telnet;
    const bool fence = input && Discard();
    const auto what = static_cast<std::uint8_t>((fence ? 1 : 0) + (output ? 2 : 0));
    if (what == 0) return;
    answers_.erase(kPurge);
    if (!Command(ComPortCommand(kPurge, what)) || !fence) return;
    Answer(kPurge, steady_clock::now() + kFenceWait);
    ForgetReceived();
  }

 private:
  static std::string OneByte(std::uint8_t value) { return {static_cast<char>(value)}; }

  bool Command(std::string_view bytes) {
    return SendAll(bytes, steady_clock::now() + kAnswerWait).outcome == IoOutcome::kComplete;
  }
  // The server's answer to a command; none when it does not come in time.
  std::optional<std::string> Answer(std::uint8_t code, steady_clock::time_point end) {
    while (!answers_.contains(code)) {
      if (AwaitMore(end).outcome != IoOutcome::kComplete) return std::nullopt;
    }
    return answers_.at(code);
  }

  std::string Encoded(std::string_view data) override { return telnet::Escaped(data); }
  void Decode(std::string_view bytes, std::string& data) override { decoder_.Take(bytes, data, *this); }

  void OnComPort(std::uint8_t code, std::string_view value) override {
    const bool damaged = code == telnet::kAnswer + telnet::kLineState && !value.empty() &&
                         (static_cast<std::uint8_t>(value[0]) & telnet::kDamage) != 0;
    if (damaged) NoteDamage();
    if (code > telnet::kAnswer) answers_[static_cast<std::uint8_t>(code - telnet::kAnswer)] = value;
  }
  // Answers each offer or request of the server once. Answering answers would never end.
  void OnOption(std::uint8_t verb, std::uint8_t option) override {
    using namespace telnet;
    if (option == kComPort && verb == kDo) com_port_ = true;
    if (option == kComPort && verb == kDont) refused_ = true;
    if (verb == kWont || verb == kDont) return;
    const bool known = option == kBinary || option == kSuppressGoAhead || option == kComPort;
    const Verb answer = verb == kDo ? (known ? kWill : kWont) : (known ? kDo : kDont);
    const std::string bytes = OptionCommand(answer, static_cast<Option>(option));
    if (std::find(sent_.begin(), sent_.end(), bytes) != sent_.end()) return;
    sent_.push_back(bytes);
    Command(bytes);
  }

  telnet::Decoder decoder_;
  std::vector<std::string> sent_;  // option commands
  std::map<std::uint8_t, std::string> answers_;
  bool com_port_ = false;
  bool refused_ = false;
};

class BoundNetworkPort final : public platform::BoundPort {
 public:
  BoundNetworkPort(PortUrl url, std::string location) : url_(std::move(url)), location_(std::move(location)) {}

  const std::string& location() const override { return location_; }

  platform::OpenResult Open() override {
    auto connection = platform::ConnectToHost(url_.host, url_.port, kConnectWait);
    if (!connection.socket) return {nullptr, connection.failure};
    return url_.protocol == PortUrl::Protocol::kRaw ? OpenRaw(std::move(connection.socket))
                                                    : OpenRfc2217(std::move(connection.socket));
  }

 private:
  static platform::OpenResult Refused(std::string words) {
    return {nullptr, {.cause = OpenFailureCause::kRefused, .detail = std::move(words)}};
  }
  static platform::OpenResult OpenRaw(std::unique_ptr<StreamSocket> socket) {
    auto port = std::make_unique<RawPort>(std::move(socket));
    if (auto words = port->Refusal()) return Refused(std::move(*words));
    return {std::move(port), {}};
  }
  static platform::OpenResult OpenRfc2217(std::unique_ptr<StreamSocket> socket) {
    auto port = std::make_unique<Rfc2217Port>(std::move(socket));
    const bool negotiated = port->Negotiate();
    if (auto words = port->Refusal()) return Refused(std::move(*words));
    if (negotiated) return {std::move(port), {}};
    // No answer at all: a server may let a client wait until the one before has left.
    if (!port->has_answered()) return {nullptr, {.cause = OpenFailureCause::kNoAnswer}};
    return {nullptr, {.cause = OpenFailureCause::kNoRfc2217}};
  }

  const PortUrl url_;
  const std::string location_;
};

}  // namespace

std::shared_ptr<platform::BoundPort> BindNetworkPort(const PortUrl& url, std::string location) {
  return std::make_shared<BoundNetworkPort>(url, std::move(location));
}

platform::PortResolution ResolveSerialPort(const platform::PortAddress& address) {
  const auto location = address.location.empty() ? platform::DeviceOfPort(address.number) : address.location;
  if (!location || !IsUrl(*location)) return platform::ResolvePort(address);
  const auto url = ParsePortUrl(*location);
  if (!url) return {nullptr, {.cause = OpenFailureCause::kNoSuchDevice, .detail = *location}};
  return {BindNetworkPort(*url, *location), {}};
}

}  // namespace ulix

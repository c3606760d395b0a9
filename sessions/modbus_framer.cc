#include "sessions/modbus_framer.h"

#include <algorithm>
#include <utility>

#include "links/modbus_frames.h"
#include "sessions/line_framer.h"

namespace ulix {
namespace {

constexpr std::size_t kShortestReply = 5;  // an exception
constexpr std::size_t kEchoed = 5;         // bytes that a reply to a write repeats: function, address, count or value

// Numbers of registers to read. Where possible a model's own requests read other numbers, so that at least one of these
// is not outstanding.
constexpr std::array<std::size_t, 6> kSyncCounts = {3, 4, 5, 6, 7, 8};

constexpr std::uint32_t FunctionOf(ReplyKind kind) { return static_cast<std::uint32_t>(kind) >> 16U; }

ReplyKind KindOf(std::uint8_t function, std::uint32_t form) {
  return static_cast<ReplyKind>(std::uint32_t{function} << 16U | (form & 0xFFFFU));
}

// The silence between frames: 3.5 characters, or 1750 us above 19200 bits per second.
constexpr std::uint32_t kFixedSilenceAbove = 19200;
constexpr std::chrono::microseconds kFixedSilence{1750};

}  // namespace

RtuFramer::RtuFramer(SerialLink& link, Clock& clock, std::function<std::uint8_t()> slave, std::uint16_t sync_register)
    : link_(link), clock_(clock), slave_of_(std::move(slave)), sync_register_(sync_register) {}

void RtuFramer::Reset() {
  slave_ = slave_of_();
  rate_ = link_.params().baudRate;
  quiet_since_ = clock_.Now();
}

// A character takes eleven bits: a line without parity has a second stop bit, or is idle for that time.
std::chrono::microseconds RtuFramer::TimeOf(std::size_t characters) const {
  return std::chrono::microseconds(characters * 11 * 1'000'000 / rate_ + 1);
}

LinkOutcome RtuFramer::Send(std::string_view request) {
  const auto silence = rate_ > kFixedSilenceAbove ? kFixedSilence : TimeOf(7) / 2;
  const auto since = clock_.Now() - quiet_since_;
  if (since < silence) clock_.SleepFor(std::chrono::ceil<Milliseconds>(silence - since));
  const LinkOutcome sent = link_.SendBytes(modbus::SerialFrame(slave_, request), 0);
  quiet_since_ = clock_.Now();
  return sent;
}

Reply RtuFramer::Receive(const ReplyPlan& plan) {
  Reply reply = ReceiveFrame(plan.read_ms != 0 ? Milliseconds(plan.read_ms) : link_.read_timeout());
  quiet_since_ = clock_.Now();
  return reply;
}

// Reads the start of a frame, from which its length follows, then the rest. Each part must come within the timeout plus
// its time on the line.
Reply RtuFramer::ReceiveFrame(Milliseconds timeout) {
  const auto read = [&](std::span<char> bytes) {
    const auto time = timeout + std::chrono::ceil<Milliseconds>(TimeOf(bytes.size()));
    return link_.ReceiveBytes(bytes, static_cast<std::uint32_t>(time.count())).outcome;
  };
  const auto start = std::span(buffer_).first(kShortestReply);
  const LinkOutcome begun = read(start);
  if (!IsComplete(begun)) return {.outcome = begun, .text = {}};
  const std::size_t length = modbus::SerialReplyLength({start.data(), start.size()});
  if (length < start.size() || length > buffer_.size()) return {.outcome = LinkOutcome::kDamaged, .text = {}};
  const auto rest = std::span(buffer_).subspan(start.size(), length - start.size());
  const LinkOutcome ended = rest.empty() ? LinkOutcome::kComplete : read(rest);
  if (!IsComplete(ended)) return {.outcome = LinkOutcome::kStoppedMidway, .text = {}};
  const std::string_view frame(buffer_.data(), length);
  // The checksum over a frame including its own checksum is 0.
  const bool ours = frame[0] == static_cast<char>(slave_) && modbus::Crc16(frame) == 0;
  if (!ours) return {.outcome = LinkOutcome::kDamaged, .text = {}};
  return {.text = std::string(frame.substr(1, length - 3))};
}

bool RtuFramer::DiscardWithin(Milliseconds time) {
  const bool came = ulix::DiscardWithin(link_, clock_, time);
  if (came) quiet_since_ = clock_.Now();
  return came;
}

std::optional<ReplyKind> RtuFramer::KindOfQuery(std::string_view request) const {
  const auto function = static_cast<std::uint8_t>(request[0]);
  const bool counted = modbus::FormOfReply(function) == modbus::ReplyForm::kCounted;
  return KindOf(function, counted ? modbus::CountOfReply(request) : modbus::Crc16(request.substr(0, kEchoed)));
}

std::optional<ReplyKind> RtuFramer::KindOfReply(std::string_view reply) const {
  const auto function = static_cast<std::uint8_t>(reply[0]);
  if ((function & modbus::kExceptionFlag) != 0) return KindOf(function, 0);
  const bool counted = modbus::FormOfReply(function) == modbus::ReplyForm::kCounted;
  return KindOf(function, counted ? static_cast<std::uint8_t>(reply[1]) : modbus::Crc16(reply.substr(0, kEchoed)));
}

bool RtuFramer::Refuses(ReplyKind came, ReplyKind kind) const {
  return FunctionOf(came) == (FunctionOf(kind) | modbus::kExceptionFlag);
}

// The end of a reply of unknown form cannot be found.
std::optional<std::string> RtuFramer::MessageOf(std::string_view typed) const {
  auto request = modbus::RequestIn(typed);
  const bool formed = request && request->size() >= modbus::kShortestFormed &&
                      modbus::FormOfReply(static_cast<std::uint8_t>(request->front())) != modbus::ReplyForm::kUnknown;
  return formed ? std::move(request) : std::nullopt;
}

std::vector<SyncCandidate> RtuFramer::SyncQueries() const {
  std::vector<SyncCandidate> queries;
  queries.reserve(std::size(kSyncCounts));
  for (const std::size_t count : kSyncCounts) {
    const std::string request = modbus::ReadRequest(sync_register_, count);
    queries.push_back({request, *KindOfQuery(request)});
  }
  return queries;
}

LinkOutcome ModbusTcpFramer::Send(std::string_view request) {
  return link_.Send(modbus::NetworkFrame(++transaction_, slave_, request));
}

// Bytes after a reply, or bytes that came unasked, do not belong to the next reply.
LinkOutcome ModbusTcpFramer::Discard() {
  link_.IsLost();
  link_.DropAll();
  return LinkOutcome::kComplete;
}

// Late replies to earlier requests are dropped and do not extend the wait. A reply with our number but another unit id
// ends the wait, because a gateway has then answered this request.
Reply ModbusTcpFramer::Receive(const ReplyPlan& plan) {
  const Milliseconds timeout = plan.read_ms != 0 ? Milliseconds(plan.read_ms) : link_.read_timeout();
  const MonotonicTime until = clock_.Now() + timeout;
  for (bool first = true;; first = false) {
    if (!first && clock_.Now() >= until) return {.outcome = LinkOutcome::kNoFirstByte, .text = {}};
    LinkOutcome came = link_.Await(modbus::kNetworkHead, until);
    const std::size_t length = IsComplete(came) ? modbus::NetworkFrameLength(link_.received()) : 0;
    if (length != 0) came = link_.Await(length, until);
    const bool broken = IsComplete(came) ? length == 0 : came == LinkOutcome::kStoppedMidway;
    if (broken) link_.GiveUp();  // the rest of this frame could be taken for the start of the next one
    if (broken || !IsComplete(came))
      return {.outcome = broken && IsComplete(came) ? LinkOutcome::kDamaged : came, .text = {}};
    const std::string frame(link_.received().substr(0, length));
    link_.Drop(length);
    link_.TraceReceived(frame);
    if (modbus::WordAt(frame, 0) != transaction_) continue;
    const bool ours = frame[modbus::kNetworkHead - 1] == static_cast<char>(slave_);
    return {.outcome = ours ? LinkOutcome::kComplete : LinkOutcome::kDamaged,
            .text = frame.substr(modbus::kNetworkHead)};
  }
}

}  // namespace ulix

#include "sessions/line_framer.h"

#include <algorithm>
#include <array>
#include <utility>

#include "sessions/limits.h"

namespace ulix {
namespace {

// The size of a piece of a line that may be endless. Each byte may take a read timeout, and all other instruments wait
// meanwhile.
constexpr std::size_t kPiece = 16;
constexpr std::size_t kMaxLine = 100;

// The longest line that is discarded as one; the size of a system's receive buffer.
constexpr int kMaxThrownAway = 4096;

// The polling period of a line that is drained.
constexpr Milliseconds kPollPause{20};
constexpr std::uint32_t kDrainReadMs = 1;

}  // namespace

bool DiscardWithin(SerialLink& link, Clock& clock, Milliseconds time) {
  const Deadline end = Deadline::In(clock, time);
  std::array<char, 64> bytes;
  for (;;) {
    const bool last = end.Passed(clock);
    const auto got = link.ReceiveBytes(bytes, kDrainReadMs);
    if (got.count > 0) return true;
    const bool open = got.outcome == LinkOutcome::kNoFirstByte || got.outcome == LinkOutcome::kDamaged;
    if (last || !open) return false;
    const auto left = std::chrono::ceil<Milliseconds>(end.WaitPoint(clock) - clock.Now());
    clock.SleepFor(std::clamp(left, Milliseconds(0), kPollPause));
  }
}

LineFramer::LineFramer(SerialLink& link, Clock& clock, Options options)
    : link_(link), clock_(clock), options_(std::move(options)) {}

void LineFramer::Reset() {
  part_ = false;
  cut_ = within_ = false;
}

void LineFramer::Prepare() {
  part_ = false;
  discards_ = true;
}

LinkOutcome LineFramer::Send(std::string_view message) {
  within_ = false;
  const bool discards = std::exchange(discards_, false);
  if (options_.wrap) {
    if (discards) link_.DiscardInput();
    return link_.SendBytes(options_.wrap(message), 0);
  }
  using Input = SerialLink::Input;
  return link_.SendLine(message, options_.terminator, 0, discards ? Input::kDiscard : Input::kKeep);
}

LinkOutcome LineFramer::Discard() {
  part_ = false;
  return link_.DiscardInput();
}

bool LineFramer::DiscardWithin(Milliseconds time) {
  part_ = false;
  return ulix::DiscardWithin(link_, clock_, time);
}

Reply LineFramer::Receive(const ReplyPlan& plan) {
  part_ = false;
  Reply reply;
  for (int attempt = 1; attempt <= plan.attempts; ++attempt) {
    reply.outcome = ReadOn(reply.text, plan);
    if (reply.there() && !reply.text.empty()) return reply;
    if (reply.there() || reply.outcome == LinkOutcome::kNoFirstByte) continue;
    if (reply.outcome != LinkOutcome::kStoppedMidway) break;  // after a damaged byte the rest could look like a number
  }
  if (reply.there()) return reply;  // an empty reply
  part_ = !reply.text.empty();
  return {.outcome = reply.outcome, .text = {}};
}

// After a line that was cut, its rest follows, which is not a reply.
Reply LineFramer::ReceiveAny(const ReplyPlan& plan) {
  const ReplyPlan any = {.size = kMaxThrownAway, .attempts = plan.attempts, .read_ms = plan.read_ms, .chunked = true};
  Reply reply = Receive(any);
  if (!reply.there()) return reply;
  const bool rest = std::exchange(within_, cut_);
  if (rest || cut_) reply.outcome = LinkOutcome::kTooLong;
  return reply;
}

// Reads up to the end of the line or the size of the plan. A line longer than any reply is read for five read timeouts
// at most.
LinkOutcome LineFramer::ReadOn(std::string& line, const ReplyPlan& plan) {
  const auto size = static_cast<std::size_t>(plan.size);
  const Deadline patience =
      plan.chunked ? Deadline::In(clock_, link_.read_timeout() * kMaxReadTimeouts) : Deadline::Never();
  const auto longest = std::max(kMaxLine, static_cast<std::size_t>(options_.reply_size));
  LinkOutcome result = LinkOutcome::kTooLong;
  while (result == LinkOutcome::kTooLong && line.size() + 1 < size &&
         (line.size() < longest || !patience.Passed(clock_))) {
    buffer_.resize(std::min(plan.chunked ? kPiece : size, size - line.size()));
    const auto got = link_.ReceiveLine(buffer_, options_.terminator, plan.read_ms);
    result = got.outcome;
    line.append(buffer_.data(), got.count);
  }
  cut_ = result == LinkOutcome::kTooLong && !plan.prefix_suffices;
  return result;
}

// Reads the rest of a line that was cut; false when its end does not come.
bool LineFramer::SkipRest() {
  std::string rest;
  const LinkOutcome read = ReadOn(rest, {.size = kMaxThrownAway, .chunked = true});
  return IsComplete(read) && !std::exchange(cut_, false);
}

Reply FixedFramer::Receive(const ReplyPlan& plan) {
  Reply reply{.text = std::string(static_cast<std::size_t>(plan.size), '\0')};
  const auto got = link_.ReceiveBytes(reply.text, plan.read_ms);
  reply.outcome = got.count > 0 && got.outcome != LinkOutcome::kLinkLost ? LinkOutcome::kComplete : got.outcome;
  if (got.outcome == LinkOutcome::kDamaged) reply.outcome = LinkOutcome::kDamaged;
  return reply;
}

bool FixedFramer::DiscardWithin(Milliseconds time) { return ulix::DiscardWithin(link_, clock_, time); }

}  // namespace ulix

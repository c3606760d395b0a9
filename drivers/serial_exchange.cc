// The exchange of lines: how a query gets its own reply and no other.
#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "drivers/serial_driver.h"

namespace ulix {

namespace {

// At the end of a buffer, whose last place is only written when a line fills it.
constexpr char kNotFilled = 1;

// Read at once of what may have no end. Each byte may take a read timeout, and all other instruments wait so long.
constexpr std::size_t kPiece = 16;
constexpr std::size_t kLongestReply = 100;

// A line that is thrown away; as long as what a system holds for a reader.
constexpr ReplyPlan kThrownAway = {.size = 4096, .in_pieces = true};

// Within this the lines begin that belong to the reply before them.
constexpr std::uint32_t kBehindMs = 1000;

}  // namespace

ReplyKind SerialDriver::KindOf(std::string_view query) const {
  return query == landmark().query ? ReplyKind::kLandmark : ReplyKind::kPlain;
}

HRESULT SerialDriver::Send(std::string_view command) {
  const std::lock_guard exchange(exchange_mutex_);
  if (const HRESULT back = HaveLinkBack(); Failed(back)) return back;
  const HRESULT result = Transmit(command);
  if (Failed(result)) NoteLoss();
  return result;
}

void SerialDriver::DiscardInput() {
  link_.Purge(true, false);
  partial_.clear();
}

HRESULT SerialDriver::PrepareLine() {
  if (const HRESULT back = HaveLinkBack(); Failed(back)) return back;
  if (!owed_.empty()) DrainUntilQuiet();
  owed_.Clear();
  DiscardInput();
  return S_OK;
}

Milliseconds SerialDriver::MostChatter() const {
  std::uint32_t read_ms = 0;
  std::uint32_t write_ms = 0;
  link_.GetTimeouts(&read_ms, &write_ms);
  return Milliseconds(read_ms * kMaxSilences);
}

// For one read timeout, that is; a line that never is quiet is cut off in the end.
void SerialDriver::DrainUntilQuiet() {
  const Deadline patience = Deadline::In(clock(), MostChatter());
  char byte = 0;
  while (Succeeded(link_.ReadBytes(std::span(&byte, 1), 0)) && !patience.Passed(clock())) {
  }
}

// One line, from the part of it that came before. What is longer than the plan's size is cut.
Expected<std::string> SerialDriver::TakeLine(ReplyPlan plan) {
  std::string line = std::exchange(partial_, {});
  line.resize(std::min(line.size(), static_cast<std::size_t>(plan.size) - 2));
  for (int attempt = 1; attempt <= plan.attempts; ++attempt) {
    if (Succeeded(ReadOn(line, plan)) && !line.empty()) return line;
    if (interruptions_ > 0) break;
  }
  partial_ = std::move(line);
  NoteLoss();
  return Failure(serialCommErrUnableToReadComm);
}

// To the line's end or the plan's; what is longer than any reply, only while patience lasts.
HRESULT SerialDriver::ReadOn(std::string& line, ReplyPlan plan) {
  const auto size = static_cast<std::size_t>(plan.size);
  const Deadline patience = plan.in_pieces ? Deadline::In(clock(), MostChatter()) : Deadline::Never();
  const auto longest = std::max(kLongestReply, static_cast<std::size_t>(profile_.reply_size));
  std::vector<char> piece(plan.in_pieces ? kPiece : size);
  HRESULT result = S_OK;
  bool filled = true;
  std::size_t taken = line.size();  // zeros as well, which end a piece and are not kept
  while (Succeeded(result) && filled && taken + 1 < size && (taken < longest || !patience.Passed(clock()))) {
    piece.assign(std::min(piece.size(), size - taken), '\0');
    piece.back() = kNotFilled;
    result = link_.ReadLine(piece, profile_.terminator, TimeoutOr(plan.read_ms));
    filled = Succeeded(result) && piece.back() != kNotFilled;
    line += piece.data();
    taken += piece.size() - 1;
  }
  cut_ = filled && !plan.start_does;
  return result;
}

// Of a line that was cut; false when its end does not come.
bool SerialDriver::SkipRest() {
  std::string rest;
  const bool read = Succeeded(ReadOn(rest, kThrownAway));
  return read && !std::exchange(cut_, false);
}

Expected<std::string> SerialDriver::ReadReply(ReplyPlan plan) {
  auto line = TakeLine(plan);
  if (!line) Distrust();
  return line;
}

HRESULT SerialDriver::Ask(std::string_view query, ReplyKind kind) {
  if (owed_.empty()) DiscardInput();
  const HRESULT result = Send(query);
  if (result != serialCommErrCommClosed) owed_.Asked(kind);  // some of it may have gone out
  return result;
}

// The next line of that kind; others are thrown away. It may answer an earlier query of the kind.
Expected<std::string> SerialDriver::Await(ReplyKind kind, ReplyPlan plan) {
  plan = {.size = kThrownAway.size, .attempts = plan.attempts, .in_pieces = true};
  const Deadline patience = Deadline::In(clock(), MostChatter());
  bool within = false;                // a line that was cut: what follows is its rest and no line
  std::size_t old = partial_.size();  // of the next line: what had come of an earlier one, whose rest may never come
  auto line = TakeLine(plan);
  auto foreign = line;
  while (line) {
    const bool whole = !within && !cut_;
    within = cut_;
    const auto reply = std::string_view(*line).substr(std::min(std::exchange(old, 0), line->size()));
    const ReplyKind came = IsLandmark(reply) ? ReplyKind::kLandmark : ReplyKind::kPlain;
    if (whole) owed_.Came(came);
    if (whole && came == ReplyKind::kLandmark && !TakeBehind(plan)) return Failure(serialCommErrUnableToReadComm);
    if (whole && came == kind) return line;
    foreign = std::exchange(line, patience.Passed(clock()) ? Failure(serialCommErrUnableToReadComm) : TakeLine(plan));
  }
  // At a greeting another model may be on the line, and be told from a silent one.
  return formal_ ? foreign : line;
}

// The lines that belong to a landmark's reply; false when one did not come.
bool SerialDriver::TakeBehind(ReplyPlan plan) {
  for (int line = 0; line < landmark().lines_behind; ++line) {
    if (!ReadReply(plan)) return false;
  }
  return true;
}

// The same on a line that is in step: a model that leaves them out is not waited for long, and one that begins them and
// stops may go on at any time.
void SerialDriver::TakeBehindSoon() {
  for (int line = 0; line < landmark().lines_behind; ++line) {
    if (TakeLine({.size = kThrownAway.size, .read_ms = kBehindMs, .in_pieces = true})) continue;
    if (!partial_.empty()) Distrust();
    return;
  }
}

HRESULT SerialDriver::BringInStep(ReplyKind wanted, std::string_view query, ReplyPlan plan) {
  const Landmark mark = landmark();
  if (mark.query.empty()) return owed_.empty() ? S_OK : PrepareLine();
  if (wanted == ReplyKind::kLandmark && mark.opposite.empty()) return S_OK;  // any of them does
  const std::string_view plain = wanted == ReplyKind::kPlain ? query : mark.opposite;
  const auto probe = [&](ReplyKind kind) -> HRESULT {
    // Of a line that this cuts in two, the rest can only be taken for a plain reply, which settles nothing here.
    if (kind == ReplyKind::kLandmark) DiscardInput();
    const HRESULT asked = Ask(kind == ReplyKind::kLandmark ? mark.query : plain, kind);
    return Failed(asked) ? asked : CodeOf(Await(kind, plan));
  };
  return owed_.Settle(probe, serialCommErrUnableToReadComm);
}

Expected<std::string> SerialDriver::Query(std::string_view query, ReplyPlan plan) {
  const std::lock_guard exchange(exchange_mutex_);
  const ReplyKind kind = KindOf(query);
  for (int probes = 0; probes < kMaxProbes; ++probes) {
    auto reply = QueryOnce(query, kind, plan);
    const bool stray = reply && kind == ReplyKind::kPlain && !formal_ && IsLandmark(*reply);
    if (!stray) return reply;
    owed_.Asked(kind);  // still: what came was asked by whoever had the line before
  }
  return Failure(serialCommErrUnableToReadComm);
}

Expected<std::string> SerialDriver::QueryOnce(std::string_view query, ReplyKind kind, ReplyPlan plan) {
  HRESULT result = HaveLinkBack();
  if (Succeeded(result) && std::exchange(cut_, false) && !SkipRest()) Distrust();
  if (Succeeded(result) && !formal_) result = BringInStep(kind, query, plan);
  if (Succeeded(result) && owed_.full() && !formal_) result = serialCommErrUnableToReadComm;
  const bool in_step = owed_.empty();
  if (Succeeded(result)) result = Ask(query, kind);
  if (Failed(result)) return Failure(result);
  auto reply = in_step ? TakeLine(plan) : Await(kind, plan);
  if (!in_step && reply) reply->resize(std::min(reply->size(), static_cast<std::size_t>(plan.size) - 1));
  if (!in_step) return reply;
  if (reply) owed_.Clear();
  if (reply && kind == ReplyKind::kLandmark && !cut_ && IsLandmark(*reply)) TakeBehindSoon();
  return reply;
}

}  // namespace ulix

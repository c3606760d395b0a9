// The exchange: how a query gets its own reply, and how a line is brought in sync again.
#include <algorithm>

#include "sessions/session.h"

namespace ulix {
namespace {

// A trailing line must begin within this time.
constexpr std::uint32_t kTrailingMs = 1000;
constexpr int kMaxTrailingLine = 4096;
constexpr int kMaxTypedReply = 4096;

}  // namespace

void Conversation::Pause(Milliseconds duration) {
  session_.clock().SleepFor(duration + session_.link_.TimeLeftOnWire());
}

HRESULT Conversation::SendEach(std::initializer_list<std::string_view> commands) {
  for (const std::string_view command : commands) {
    if (const HRESULT result = Send(command); Failed(result)) return result;
  }
  return S_OK;
}

Expected<std::string> Conversation::QueryText(std::string_view query, const ReplyPlan& plan, TextPart part) {
  return Query(query, plan, [&](std::string&& reply) -> Expected<std::string> {
    reply.resize(std::min(reply.find('\0'), reply.size()));
    if (!part) return std::move(reply);
    const std::string_view text = part(reply);
    return text.empty() ? Failure(Unread()) : Expected<std::string>(text);
  });
}

Expected<std::string> Conversation::QueryTyped(std::string_view typed) {
  const Framer& framer = *session_.framer_;
  const auto message = framer.MessageOf(typed);
  if (!message) return Failure(E_INVALIDARG);
  auto reply = Query(*message, {.size = kMaxTypedReply});
  if (!framer.HasForms()) MarkOutOfSync();
  if (reply) reply = framer.TextOf(*reply);
  return reply;
}

// Where every message has a reply, the reply to this one is outstanding.
HRESULT Conversation::SendTyped(std::string_view typed) {
  const auto message = session_.framer_->MessageOf(typed);
  if (!message) return E_INVALIDARG;
  const HRESULT result = Send(*message);
  if (const auto kind = session_.framer_->KindOfQuery(*message)) session_.MarkOutOfSync(*kind);
  return result;
}

bool Session::IsSyncReply(std::string_view reply) const { return peer_.IsSyncReply(reply.substr(0, reply.find('\0'))); }

ReplyKind Session::KindOfQuery(std::string_view query) const {
  if (const auto form = framer_->KindOfQuery(query)) return *form;
  return !query.empty() && query == peer_.sync_query().query ? ReplyKind::kSync : ReplyKind::kAmbiguous;
}

ReplyKind Session::KindOfReply(std::string_view reply) const {
  if (const auto form = framer_->KindOfReply(reply)) return *form;
  return IsSyncReply(reply) ? ReplyKind::kSync : ReplyKind::kAmbiguous;
}

// A timeout that the host chose replaces the timeout of the reply.
ReplyPlan Session::Planned(ReplyPlan plan) const {
  if (options_.timeout_ms != 0) plan.read_ms = 0;
  return plan;
}

Milliseconds Session::ReadTimeoutOf(const ReplyPlan& plan) const {
  return plan.read_ms != 0 ? Milliseconds(plan.read_ms) : link_.read_timeout();
}

HRESULT Session::CodeOfFailure(LinkStep step, LinkOutcome outcome) {
  const HRESULT code = PublishedCode(link_.codes(), step, outcome);
  NoteLoss();
  return Failed(code) ? code : Unread();
}

HRESULT Session::Send(std::string_view command) {
  const LinkOutcome sent = framer_->Send(command);
  return IsComplete(sent) ? S_OK : CodeOfFailure(LinkStep::kWrite, sent);
}

tl::unexpected<HRESULT> Session::FailedRead(LinkOutcome outcome, const ReplyPlan& plan) {
  if (outcome == LinkOutcome::kNoFirstByte || outcome == LinkOutcome::kStoppedMidway) ++counters_.timeouts;
  if (outcome == LinkOutcome::kDamaged) ++counters_.damaged;
  drain_until_ = clock().Now() + ReadTimeoutOf(plan) * kDrainReadTimeouts;
  NoteState();
  return Failure(CodeOfFailure(LinkStep::kRead, outcome));
}

void Session::MarkOutOfSync(ReplyKind kind) {
  if (framer_->NamesItsQuery()) return;
  outstanding_.OnSent(kind);
  drain_until_ = clock().Now() + link_.read_timeout() * kDrainReadTimeouts;
  NoteState();
}

void Session::NoteStray() {
  if (redone_) return;
  ++counters_.discarded;
  MarkOutOfSync(ReplyKind::kAmbiguous);
  stray_ = true;
}

void Session::MarkInSync() {
  outstanding_.Clear();
  only_drains_ = false;
  ++counters_.resynchronisations;
  NoteState();
}

Expected<std::string> Session::ReadReply(const ReplyPlan& plan) {
  const ReplyPlan planned = Planned(plan);
  Reply line = framer_->Receive(planned);
  if (line.there() && !line.text.empty()) return std::move(line.text);
  outstanding_.OnSent(ReplyKind::kAmbiguous);
  return FailedRead(line.outcome, planned);
}

HRESULT Session::Ask(std::string_view query, ReplyKind kind) {
  if (outstanding_.empty()) framer_->Prepare();
  const LinkOutcome sent = framer_->Send(query);
  // A part of the query may have been sent even on failure.
  if (sent != LinkOutcome::kNotOpen && !framer_->NamesItsQuery()) outstanding_.OnSent(kind);
  return IsComplete(sent) ? S_OK : CodeOfFailure(LinkStep::kWrite, sent);
}

// Whether a reply of kind `came` answers a query that expects `kind`.
bool Session::Answers(ReplyKind came, ReplyKind kind) const { return came == kind || framer_->Refuses(came, kind); }

// Reads the next reply of the kind and discards others. The reply may answer an earlier query of the same kind.
Expected<std::string> Session::Await(ReplyKind kind, const ReplyPlan& plan, bool settling) {
  const Deadline patience = Deadline::In(clock(), link_.read_timeout() * kMaxReadTimeouts);
  Reply reply = framer_->ReceiveAny(plan);
  Reply foreign = reply;
  while (reply.there()) {
    const bool whole = IsComplete(reply.outcome) && !reply.text.empty();
    const ReplyKind came = KindOfReply(reply.text);
    if (whole) outstanding_.OnReceived(came);
    if (whole && came == ReplyKind::kSync && !ReadTrailingLines(plan)) return Failure(Unread());
    // A sync reply that stopped midway and the ambiguous reply after it may come as one line.
    const bool flushed =
        settling && kind == ReplyKind::kAmbiguous && !outstanding_.empty() && outstanding_.front() == kind;
    if (whole && (flushed || Answers(came, kind))) {
      if (outstanding_.empty() && !settling) MarkInSync();
      return std::move(reply.text);
    }
    ++counters_.discarded;
    foreign = std::move(reply);
    reply =
        patience.Passed(clock()) ? Reply{.outcome = LinkOutcome::kNoFirstByte, .text = {}} : framer_->ReceiveAny(plan);
  }
  // During a handshake the reply of another model is returned, so that it can be told from an instrument that does not
  // answer.
  if (shaking_hands_ && foreign.there() && !foreign.text.empty()) return std::move(foreign.text);
  if (settling && foreign.there() && peer_.sync_query().assumed) only_drains_ = true;
  return FailedRead(reply.outcome, plan);
}

// Reads the trailing lines of a sync reply; false when one did not come.
bool Session::ReadTrailingLines(const ReplyPlan& plan) {
  for (int line = 0; line < peer_.sync_query().trailing_lines; ++line) {
    if (!ReadReply({.size = kMaxTrailingLine, .attempts = plan.attempts, .chunked = true})) return false;
  }
  return true;
}

// Reads the trailing lines on a line that is in sync. The wait is short, because some instruments leave them out. If a
// trailing line stops midway, its rest may come at any time, so the line is then out of sync.
void Session::TryToReadTrailingLines() {
  for (int line = 0; line < peer_.sync_query().trailing_lines; ++line) {
    const auto trailing =
        framer_->Receive(Planned({.size = kMaxTrailingLine, .read_ms = kTrailingMs, .chunked = true}));
    if (trailing.there() && !trailing.text.empty()) continue;
    if (framer_->HasPart()) MarkOutOfSync(ReplyKind::kAmbiguous);
    NoteLoss();
    return;
  }
}

HRESULT Session::Resynchronise(ReplyKind wanted, std::string_view query, const ReplyPlan& plan) {
  if (outstanding_.empty()) return S_OK;
  const SyncQuery sync = peer_.sync_query();
  const bool by_form = framer_->HasForms();
  if ((sync.query.empty() && !by_form) || only_drains_) return Drain();
  if (wanted == ReplyKind::kSync && sync.alternate.empty()) return S_OK;  // any sync reply will do
  if (framer_->NeedsSilence()) {
    if (const HRESULT silent = AwaitSilence(); Failed(silent)) return silent;
  }
  const bool told_apart = by_form && !outstanding_.Expects(wanted) && !outstanding_.Expects(ReplyKind::kAmbiguous);
  if (told_apart) return S_OK;
  auto candidates = framer_->SyncQueries();
  if (!by_form) {
    candidates = {{std::string(sync.query), ReplyKind::kSync}};
    const bool own = wanted == ReplyKind::kAmbiguous && !query.empty();
    candidates.push_back({std::string(own ? query : sync.alternate), ReplyKind::kAmbiguous});
  }
  return SettleBy(candidates, plan);
}

// Sends candidates until no reply is outstanding. A reply to a later query of another kind settles the queries before
// it.
HRESULT Session::SettleBy(const std::vector<SyncCandidate>& candidates, const ReplyPlan& plan) {
  for (int queries = 0; !outstanding_.empty(); ++queries) {
    if (queries == kMaxSyncQueries) return Unread();
    const SyncCandidate& best = candidates[BestOf(candidates)];
    // Discarding may cut a line in two. The rest of the line can only look like an ambiguous reply, and those settle
    // nothing here.
    HRESULT result = best.kind == ReplyKind::kAmbiguous ? S_OK : DiscardAll();
    if (Succeeded(result)) result = Ask(best.query, best.kind);
    if (Succeeded(result)) result = CodeOf(Await(best.kind, plan, true));
    if (Failed(result)) return result;
  }
  MarkInSync();
  return S_OK;
}

// The first candidate whose kind no outstanding reply has; else the first one whose kind differs from the oldest
// outstanding reply.
std::size_t Session::BestOf(const std::vector<SyncCandidate>& candidates) const {
  const auto is_free = [&](const SyncCandidate& candidate) { return !outstanding_.Expects(candidate.kind); };
  const auto found = std::find_if(candidates.begin(), candidates.end(), is_free);
  if (found != candidates.end()) return static_cast<std::size_t>(found - candidates.begin());
  return candidates.size() > 1 && candidates[0].kind == outstanding_.front() ? 1 : 0;
}

// Waits until nothing has come for a whole read timeout.
HRESULT Session::AwaitSilence() {
  const Milliseconds quiet = link_.read_timeout();
  const Deadline patience = Deadline::In(clock(), quiet * kMaxSilenceTimeouts);
  while (interruptions_ == 0 && framer_->DiscardWithin(quiet)) {
    if (patience.Passed(clock())) return Unread();
  }
  NoteLoss();
  return link_.IsOpen() ? HRESULT{S_OK} : Unread();
}

// Drains the line for one read timeout at most.
HRESULT Session::Drain() {
  const Deadline turn = Deadline::In(clock(), link_.read_timeout());
  while (clock().Now() < drain_until_ && interruptions_ == 0 && link_.IsOpen()) {
    const auto until = std::min(drain_until_, turn.WaitPoint(clock()));
    framer_->DiscardWithin(std::chrono::ceil<Milliseconds>(until - clock().Now()));
    NoteLoss();
    if (turn.Passed(clock())) break;
  }
  if (clock().Now() < drain_until_) return Unread();
  const HRESULT result = DiscardAll();
  if (Succeeded(result)) MarkInSync();
  return result;
}

HRESULT Session::DiscardAll() {
  const LinkOutcome discarded = framer_->Discard();
  return IsComplete(discarded) ? S_OK : CodeOfFailure(LinkStep::kRead, discarded);
}

Expected<std::string> Session::Query(std::string_view query, const ReplyPlan& plan) {
  const ReplyKind kind = KindOfQuery(query);
  const ReplyPlan planned = Planned(plan);
  ++counters_.exchanges;
  // If a value can look like a sync reply, such a reply that comes again each time is the answer to this query.
  const bool values_too = !peer_.sync_query().alternate.empty();
  for (int attempt = 1; attempt <= kMaxSyncQueries; ++attempt) {
    auto reply = QueryOnce(query, kind, planned);
    const bool may_stray = reply && kind == ReplyKind::kAmbiguous && !shaking_hands_;
    if (!may_stray || KindOfReply(*reply) != ReplyKind::kSync) return reply;
    if (values_too && !whole_ && attempt == kMaxSyncQueries) return reply;
    ++counters_.discarded;
    MarkOutOfSync(kind);  // the reply came from a query before this connection, so ours is still outstanding
    stray_ = whole_;
    if (whole_) break;
  }
  return Failure(Unread());
}

Expected<std::string> Session::QueryOnce(std::string_view query, ReplyKind kind, const ReplyPlan& plan) {
  if (interruptions_ > 0) return Failure(Unread());
  if (framer_->cut() && !framer_->SkipRest()) MarkOutOfSync(ReplyKind::kAmbiguous);
  if (whole_ && !outstanding_.empty()) return Failure(Unread());  // the line went out of sync within the sequence
  HRESULT result = shaking_hands_ ? S_OK : Resynchronise(kind, query, plan);
  if (Succeeded(result) && outstanding_.full() && !shaking_hands_) result = Unread();
  const bool in_sync = outstanding_.empty();
  if (Succeeded(result)) result = Ask(query, kind);
  if (Failed(result)) return Failure(result);
  return in_sync ? TakeReply(kind, plan) : Await(kind, plan, false).map([&](std::string&& reply) {
    reply.resize(std::min(reply.size(), static_cast<std::size_t>(plan.size) - 1));
    return std::move(reply);
  });
}

// Reads the reply on a line that is in sync.
Expected<std::string> Session::TakeReply(ReplyKind kind, const ReplyPlan& plan) {
  Reply reply = framer_->Receive(plan);
  if (!reply.there() || reply.text.empty()) return FailedRead(reply.outcome, plan);
  outstanding_.Clear();
  if (kind == ReplyKind::kSync && !framer_->cut() && IsSyncReply(reply.text)) TryToReadTrailingLines();
  return std::move(reply.text);
}

}  // namespace ulix

// The session between a driver and its line: how a query gets its own reply and no other's, from the instrument that
// was identified and from no other.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "base/result.h"
#include "links/link.h"
#include "sessions/framer.h"
#include "sessions/limits.h"
#include "sessions/statistics.h"

namespace ulix {

class Conversation;

enum class SessionState {
  kClosed,     // as the host left it
  kOpen,       // the link is open, and nobody connected
  kInSync,     // connected: the next reply is the next query's
  kOutOfSync,  // replies to earlier queries may still come
  kLost,       // the device went; to be reconnected
};

// A query whose reply cannot be taken for another's. With it a line is brought in sync again.
struct SyncQuery {
  std::string_view query;      // empty: the model has none, and a line that is out of sync is only drained
  int trailing_lines = 0;      // that follow its reply and belong to it
  std::string_view alternate;  // a query with another reply, where sync replies are values too
  bool assumed = false;  // it was not seen yet that the reply can be recognised: where it is not, the line is drained
};

// What a session asks of the instrument's driver.
class SessionPeer {
 public:
  virtual ~SessionPeer() = default;
  // The handshake on a link that was just opened, also when a device is reconnected. Whoever identifies the instrument
  // gives the identification to Conversation::Admit before anything is said that changes the instrument. False: the
  // instrument heard the question and would not say what it is. A failure closes the link again, and so does false.
  virtual Expected<bool> StartSession(Conversation& talk) = 0;
  // The last words before the link is closed.
  virtual void EndSession(Conversation&) {}
  virtual SyncQuery sync_query() const { return {}; }
  // Whether a line, up to its first zero byte, ends with a reply to the sync query: another one that stopped midway may
  // stand before it.
  virtual bool IsSyncReply(std::string_view) const { return false; }
};

// Exchanges. An exchange that ended without its reply, midway, or in a reply that made no sense leaves a reply
// outstanding: it may still come, at any time, and would pass for the next one's. Before the next value is accepted the
// sync query is asked, and all that comes before its reply is thrown away. An instrument without a query that can be
// recognised is drained for ten read timeouts instead, and so is one of which that was assumed wrongly. No exchange in
// sync sends a byte for this.
//
// A device that vanishes closes the link. Each later exchange tries once to open it again, and, when it was connected,
// shakes hands first; until then exchanges give the link's code for a lost device. An instrument with another
// identification than at Connect is refused with the model's code, and so is every exchange until the host connects
// anew.
class Session {
 public:
  struct Options {
    Clock* clock = &SystemClock();
    std::uint32_t timeout_ms = 0;  // replaces the timeouts below and those of single replies
    std::uint32_t read_ms = 0;     // once open; 0 keeps the link's
    std::uint32_t write_ms = 0;
    int open_attempts = 1;                             // a second apart
    std::function<void(int attempt)> on_open_retried;  // the link opened at this attempt, not at the first
  };
  Session(Link& link, std::unique_ptr<Framer> framer, SessionPeer& peer, Options options);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Opens the link without a word to the instrument; S_OK when it is open.
  HRESULT Open();
  bool IsOpen() const { return link_.IsOpen(); }
  // False for an instrument that would not say what it is; the link is closed then, as after a failure.
  Expected<bool> Connect();
  // Hands the instrument back and closes the link; the instrument's own failures are ignored. The exchange of
  // another thread is interrupted; the call returns after that exchange has ended.
  void Disconnect();
  // What an exchange would fail with because the device went, as far as that can be told without a word to it and
  // without a wait.
  HRESULT Presence();
  // Between the two no exchange waits for the instrument any longer: one that does fails soon, as if it were mute. They
  // nest.
  void InterruptWaits();
  void ResumeWaits();
  // Whether another thread is in the middle of an exchange.
  bool IsBusy() const;

  SessionState state() const { return state_; }
  SessionStatistics statistics() const;

  // Runs a query and its reply, or a sequence that belongs together, alone on the link. The one place where the
  // exchange lock is taken: `body` is given the conversation and calls nothing that exchanges by itself. Without the
  // link, or with an instrument that cannot be reconnected, `body` is not run and the result is that failure.
  template <typename Body>
  auto Exchange(Body&& body) -> std::invoke_result_t<Body, Conversation&>;

 private:
  friend class Conversation;
  class Handshake;

  HRESULT OpenLink();
  HRESULT TakeOpenedLink();
  HRESULT Restore();
  Expected<bool> ShakeHands();
  void CloseLink(SessionState state);
  void NoteLoss();
  void NoteState();
  HRESULT Admit(const std::string& identification, HRESULT other_instrument);

  HRESULT Send(std::string_view command);
  Expected<std::string> Query(std::string_view query, const ReplyPlan& plan);
  Expected<std::string> QueryOnce(std::string_view query, ReplyKind kind, const ReplyPlan& plan);
  Expected<std::string> TakeReply(ReplyKind kind, const ReplyPlan& plan);
  Expected<std::string> ReadReply(const ReplyPlan& plan);
  HRESULT Ask(std::string_view query, ReplyKind kind);
  Expected<std::string> Await(ReplyKind kind, const ReplyPlan& plan, bool settling);
  bool Answers(ReplyKind came, ReplyKind kind) const;
  bool ReadTrailingLines(const ReplyPlan& plan);
  void TryToReadTrailingLines();
  HRESULT Resynchronise(ReplyKind wanted, std::string_view query, const ReplyPlan& plan);
  HRESULT SettleBy(const std::vector<SyncCandidate>& candidates, const ReplyPlan& plan);
  std::size_t BestOf(const std::vector<SyncCandidate>& candidates) const;
  HRESULT AwaitSilence();
  HRESULT Drain();
  HRESULT DiscardAll();
  void MarkOutOfSync(ReplyKind kind);
  void MarkInSync();
  void NoteStray();
  HRESULT CodeOfFailure(LinkStep step, LinkOutcome outcome);
  tl::unexpected<HRESULT> FailedRead(LinkOutcome outcome, const ReplyPlan& plan);
  ReplyPlan Planned(ReplyPlan plan) const;
  bool IsSyncReply(std::string_view reply) const;
  ReplyKind KindOfQuery(std::string_view query) const;
  ReplyKind KindOfReply(std::string_view reply) const;
  Milliseconds ReadTimeoutOf(const ReplyPlan& plan) const;
  HRESULT Unread() const { return link_.codes().unread; }
  Clock& clock() const { return *options_.clock; }

  Link& link_;
  const std::unique_ptr<Framer> framer_;
  SessionPeer& peer_;
  const Options options_;

  mutable std::mutex exchange_mutex_;
  std::atomic<SessionState> state_ = SessionState::kClosed;
  std::atomic<int> interruptions_ = 0;  // while there are any, exchanges stop trying again

  // Guarded by exchange_mutex_.
  bool connected_ = false;                     // as the host left it
  bool shaking_hands_ = false;                 // at the start or the end of a session
  bool whole_ = false;                         // inside Conversation::Whole
  bool redone_ = false;                        // not for the first time
  bool stray_ = false;                         // a reply inside it was somebody else's
  std::optional<std::string> identification_;  // at Connect
  std::optional<HRESULT> refused_;             // another instrument came back
  OutstandingReplies outstanding_;
  MonotonicTime drain_until_{};  // by then what was asked has come, or comes no more
  bool only_drains_ = false;     // an assumed sync reply was not recognised: until the line is in sync again
  SessionCounters counters_;
};

// What the holder of the exchange lock may do on the link. Failures are the link's codes.
class Conversation {
 public:
  explicit Conversation(Session& session) : session_(session) {}
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  // A command that has no reply.
  HRESULT Send(std::string_view command) { return session_.Send(command); }
  // Discards what came unasked, sends the query and reads its reply.
  Expected<std::string> Query(std::string_view query, const ReplyPlan& plan) { return session_.Query(query, plan); }
  // The same for a reply that is a text for people and ends at its first zero byte, such as an identification.
  Expected<std::string> QueryText(std::string_view query, const ReplyPlan& plan);
  // What `parse` makes of the reply. Where it fails with the link's code for an unread reply, or with `unreadable`, the
  // reply was none of this query.
  template <typename Parse>
  auto Query(std::string_view query, const ReplyPlan& plan, Parse&& parse, HRESULT unreadable = S_OK)
      -> std::invoke_result_t<Parse, std::string>;
  // A further line of the reply. None is the link's code for an unread reply, and so is an empty one.
  Expected<std::string> ReadReply(const ReplyPlan& plan) { return session_.ReadReply(plan); }
  // Throws away what has come.
  void DiscardInput() { session_.framer_->Discard(); }
  // The reply was another query's, or a reply may still come that nobody waits for.
  void MarkOutOfSync() { session_.MarkOutOfSync(ReplyKind::kAmbiguous); }
  // A sequence of which no reply may be another's: where one is, all of it is done again.
  template <typename Body>
  HRESULT Whole(Body&& body);
  // Of a reply in it that is of no form that the query has: it was another's, unless it comes again.
  void NoteStray() { session_.NoteStray(); }
  // From when the bytes that were written have had their time on the line.
  void Pause(Milliseconds duration);
  // Of a handshake: the instrument is the one of Connect, or there was none yet. Otherwise `other_instrument`, from
  // then on.
  HRESULT Admit(const std::string& identification, HRESULT other_instrument) {
    return session_.Admit(identification, other_instrument);
  }
  // Whether nothing is outstanding: the last reply was its query's for certain.
  bool in_sync() const { return session_.outstanding_.empty(); }
  Milliseconds read_timeout() const { return session_.link_.read_timeout(); }
  // The link's code for a reply that did not come, or that makes no sense.
  HRESULT Unread() const { return session_.Unread(); }

 private:
  Session& session_;
};

// The result of an exchange that came to nothing.
template <typename Result>
Result FailureAs(HRESULT code) {
  if constexpr (std::is_same_v<Result, HRESULT>) {
    return code;
  } else if constexpr (requires { Result{.code = code}; }) {
    return Result{.code = code};
  } else {
    return Failure(code);
  }
}

template <typename Body>
auto Session::Exchange(Body&& body) -> std::invoke_result_t<Body, Conversation&> {
  using Result = std::invoke_result_t<Body, Conversation&>;
  const std::lock_guard exchange(exchange_mutex_);
  if (const HRESULT ready = Restore(); Failed(ready)) return FailureAs<Result>(ready);
  Conversation talk(*this);
  return body(talk);
}

template <typename Parse>
auto Conversation::Query(std::string_view query, const ReplyPlan& plan, Parse&& parse, HRESULT unreadable)
    -> std::invoke_result_t<Parse, std::string> {
  auto reply = Query(query, plan);
  if (!reply) return Failure(reply.error());
  auto value = parse(std::move(*reply));
  const bool none = !value && (value.error() == Unread() || value.error() == unreadable);
  if (none) session_.MarkOutOfSync(session_.framer_->KindOfQuery(query).value_or(ReplyKind::kAmbiguous));
  return value;
}

template <typename Body>
HRESULT Conversation::Whole(Body&& body) {
  for (int attempt = 0; attempt < kMaxSyncQueries; ++attempt) {
    const HRESULT ready = session_.Resynchronise(ReplyKind::kAmbiguous, {}, {.size = 0});
    if (Failed(ready)) return ready;
    session_.whole_ = true;
    session_.stray_ = false;
    session_.redone_ = attempt > 0;
    const HRESULT result = body();
    session_.whole_ = false;
    if (!session_.stray_) return result;
  }
  return Unread();
}

}  // namespace ulix

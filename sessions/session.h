// The session between a driver and its link. It makes sure that a query gets its own reply, from the instrument that
// was identified at Connect.
#pragma once

#include <atomic>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "base/result.h"
#include "links/link.h"
#include "platform/mutex.h"
#include "sessions/framer.h"
#include "sessions/limits.h"
#include "sessions/statistics.h"

namespace ulix {

class Conversation;

enum class SessionState {
  kClosed,     // never opened, or closed by the host
  kOpen,       // the link is open; the host has not connected
  kInSync,     // connected, and no reply is outstanding: the next reply belongs to the next query
  kOutOfSync,  // replies to earlier queries may still come
  kLost,       // the device is gone; each exchange tries once to reconnect
};

// A query whose reply cannot be taken for another query's. It brings a line that is out of sync in sync again: the
// session sends it and throws away every reply before its own.
struct SyncQuery {
  std::string_view query;      // empty: the model has none, and a line that is out of sync is drained
  int trailing_lines = 0;      // lines that follow its reply and belong to it
  std::string_view alternate;  // a query with another reply; needed where replies to `query` are values too
  // No reply of this instrument has been recognised yet. If none is, the line is drained.
  bool assumed = false;
};

// What a session asks of the instrument's driver.
class SessionPeer {
 public:
  virtual ~SessionPeer() = default;
  // The handshake, after Connect opened the link and after each reconnection. A driver that identifies the instrument
  // passes the identification to Conversation::Admit before it sends anything that changes the instrument. False: the
  // instrument answered, but refused to say what it is. After false and after a failure the link is closed again.
  virtual Expected<bool> StartSession(Conversation& talk) = 0;
  // Called before Disconnect closes the link. Failures are ignored.
  virtual void EndSession(Conversation&) {}
  virtual SyncQuery sync_query() const { return {}; }
  // Whether a line, up to its first zero byte, ends with a reply to the sync query. A reply that stopped midway may
  // stand before it in the same line.
  virtual bool IsSyncReply(std::string_view) const { return false; }
};

// Resynchronisation. An exchange leaves a reply outstanding when its reply did not come, stopped midway, or made no
// sense: that reply may still come at any time, and could be taken for the next query's. Before the next value is
// accepted the session sends the sync query and throws away all that comes before its reply. Without a sync query, or
// where its reply turned out not to be recognisable, the session drains the line for ten read timeouts. An exchange in
// sync sends no byte for this.
//
// Reconnection. A device that vanishes closes the link. Each later exchange tries once to open the same device again,
// and repeats the handshake where the host had connected. Until that succeeds exchanges give the link's code for a lost
// device. An instrument with another identification than at Connect is refused with the model's code; so is every
// exchange from then on, until the host connects anew.
//
// Any thread may call any member. The link and the peer outlive the session; the session closes the link at its end.
class Session {
 public:
  struct Options {
    Clock* clock = &SystemClock();
    std::uint32_t timeout_ms = 0;  // milliseconds; if not 0, it replaces all timeouts, also those of single replies
    std::uint32_t read_ms = 0;     // milliseconds, for the open link; 0 keeps the link's own
    std::uint32_t write_ms = 0;    // the same
    int open_attempts = 1;         // of Open and Connect, a second apart
    std::function<void(int attempt)> on_open_retried;  // called when not the first attempt opened the link
  };
  Session(Link& link, std::unique_ptr<Framer> framer, SessionPeer& peer, Options options);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Opens the link and sends nothing. S_OK also when it was open; on failure the link's code.
  HRESULT Open();
  bool IsOpen() const { return link_.IsOpen(); }
  // Opens the link and runs the handshake. False for an instrument that refused to say what it is. The link is closed
  // after false and after a failure, whose code is the link's or the model's.
  Expected<bool> Connect();
  // Ends the session at the instrument and closes the link. Interrupts the exchange of another thread, and returns
  // after that exchange has ended.
  void Disconnect();
  // S_OK, or the code that an exchange would fail with because the device is gone. Sends nothing and does not wait.
  HRESULT Presence();
  // Between the two calls no exchange waits for the instrument: one under way fails soon, as with a mute instrument.
  // Calls nest.
  void InterruptWaits();
  void ResumeWaits();
  // Whether another thread is in the middle of an exchange.
  bool IsBusy() const;

  SessionState state() const { return state_; }
  SessionStatistics statistics() const;

  // Runs `body`, which makes one query with its reply or a sequence that belongs together, alone on the link. The
  // exchange lock is held meanwhile. It is not recursive: `body` uses the conversation that it is given and calls no
  // member of the session. When the link is closed, or the device cannot be reconnected, `body` is not run and the
  // result is the code of that failure.
  template <typename Body>
  auto Exchange(Body&& body) -> std::invoke_result_t<Body, Conversation&>;

 private:
  friend class Conversation;
  // Raises a flag while it lives.
  class Raised {
   public:
    explicit Raised(bool& flag) : flag_(flag) { flag_ = true; }
    ~Raised() { flag_ = false; }
    Raised(const Raised&) = delete;
    Raised& operator=(const Raised&) = delete;

   private:
    bool& flag_;
  };

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

  mutable platform::Mutex exchange_mutex_;
  std::atomic<SessionState> state_ = SessionState::kClosed;
  std::atomic<int> interruptions_ = 0;  // while there are any, exchanges stop trying again

  // Guarded by exchange_mutex_.
  bool connected_ = false;  // the host connected and did not disconnect since
  // During StartSession and EndSession. Their exchanges are not held up to bring the line in sync, which an instrument
  // that was switched off cannot always do before its handshake.
  bool shaking_hands_ = false;
  bool whole_ = false;                         // during a body of Conversation::Whole
  bool redone_ = false;                        // that body runs again, because of a stray reply
  bool stray_ = false;                         // a reply in that body answered another query
  std::optional<std::string> identification_;  // as the handshake admitted it
  std::optional<HRESULT> refused_;             // the code, once another instrument came back in place of this one
  OutstandingReplies outstanding_;
  MonotonicTime drain_until_{};  // after it no outstanding reply comes any more
  bool only_drains_ = false;     // an assumed sync reply was not recognised; until the line is in sync again
  SessionCounters counters_;
};

// What a driver makes of the reply to a command.
struct Verdict {
  HRESULT code;
  bool own_reply;  // false for one that may be another command's: the line is out of sync then
};

// What the body of an exchange may do on the link. Failures are the link's codes. It is used on the thread of the
// exchange and is gone when the exchange ends.
class Conversation {
 public:
  explicit Conversation(Session& session) : session_(session) {}
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  // A command that has no reply.
  HRESULT Send(std::string_view command) { return session_.Send(command); }
  // Several, to the first that fails.
  HRESULT SendEach(std::initializer_list<std::string_view> commands);
  // Throws away what was received unasked, sends the query, and reads its reply. If a reply is outstanding, it first
  // brings the line in sync.
  Expected<std::string> Query(std::string_view query, const ReplyPlan& plan) { return session_.Query(query, plan); }
  // The same for a reply that is a text for people and ends at its first zero byte, such as an identification. `part`,
  // if given, finds the text in the reply; a reply in which it finds none is the link's code for an unread reply.
  using TextPart = std::string_view (*)(std::string_view reply);
  Expected<std::string> QueryText(std::string_view query, const ReplyPlan& plan, TextPart part = nullptr);
  // The result of `parse` for the reply. If `parse` fails with the link's code for an unread reply, or with
  // `unreadable`, the reply cannot be one to this query, and the line is out of sync.
  template <typename Parse>
  auto Query(std::string_view query, const ReplyPlan& plan, Parse&& parse, HRESULT unreadable = S_OK)
      -> std::invoke_result_t<Parse, std::string>;
  // Sends a command and gives the reply to `judge`, which returns a Verdict. The result is the verdict's code, or that
  // of a reply that did not come.
  template <typename Judge>
  HRESULT Command(std::string_view command, const ReplyPlan& plan, Judge&& judge);
  // The same for a query that a person typed, with the reply as it is shown to one (Framer::MessageOf, TextOf).
  // E_INVALIDARG for a text that is no message. Where replies are lines, nothing is known of this one, and the line is
  // out of sync afterwards.
  Expected<std::string> QueryTyped(std::string_view typed);
  // Sends a typed command and reads no reply. E_INVALIDARG as above.
  HRESULT SendTyped(std::string_view typed);
  // A further line of the reply. The link's code for an unread reply when none comes, or an empty one.
  Expected<std::string> ReadReply(const ReplyPlan& plan) { return session_.ReadReply(plan); }
  // Throws away what has come.
  void DiscardInput() { session_.framer_->Discard(); }
  // For a driver that knows that the last reply answered another query, or that a reply is still to come.
  void MarkOutOfSync() { session_.MarkOutOfSync(ReplyKind::kAmbiguous); }
  // Runs `body`, a sequence of queries. If a reply in it answered another query, the line is brought in sync and all of
  // `body` is run again.
  template <typename Body>
  HRESULT Whole(Body&& body);
  // Within Whole: the last reply cannot be one to its query, so it answered another query. If the same happens in the
  // second run, the reply is taken as it is.
  void NoteStray() { session_.NoteStray(); }
  // Waits for `duration` after the written bytes have had their time on the line.
  void Pause(Milliseconds duration);
  // For the handshake. S_OK at Connect, and after a reconnection if the identification is the one of Connect. Otherwise
  // the result is `other_instrument`, and every exchange fails with that code until the host connects anew.
  HRESULT Admit(const std::string& identification, HRESULT other_instrument) {
    return session_.Admit(identification, other_instrument);
  }
  Milliseconds read_timeout() const { return session_.link_.read_timeout(); }
  // The link's code for a reply that did not come or made no sense.
  HRESULT Unread() const { return session_.Unread(); }

 private:
  Session& session_;
};

// The result of an exchange that came to nothing.
template <typename Result>
Result FailureAs(HRESULT code) {
  if constexpr (std::is_same_v<Result, HRESULT>) {
    return code;
  } else if constexpr (std::is_convertible_v<tl::unexpected<HRESULT>, Result>) {
    return Failure(code);
  } else {
    return Result{.code = code};
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
  if (none) session_.MarkOutOfSync(session_.KindOfQuery(query));
  return value;
}

template <typename Judge>
HRESULT Conversation::Command(std::string_view command, const ReplyPlan& plan, Judge&& judge) {
  const auto reply = Query(command, plan);
  if (!reply) return reply.error();
  const Verdict verdict = judge(std::string_view(*reply));
  if (!verdict.own_reply) MarkOutOfSync();
  return verdict.code;
}

template <typename Body>
HRESULT Conversation::Whole(Body&& body) {
  for (int attempt = 0; attempt < kMaxSyncQueries; ++attempt) {
    const HRESULT ready = session_.Resynchronise(ReplyKind::kAmbiguous, {}, {.size = 0});
    if (Failed(ready)) return ready;
    session_.stray_ = false;
    session_.redone_ = attempt > 0;
    const Session::Raised whole(session_.whole_);
    const HRESULT result = body();
    if (!session_.stray_) return result;
  }
  return Unread();
}

}  // namespace ulix

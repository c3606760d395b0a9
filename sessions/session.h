// The session between a driver and its link. It ensures that each query gets its own reply, and that the reply comes
// from the instrument that was identified at Connect.
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
  kInSync,     // connected, and no reply is outstanding: the next reply answers the next query
  kOutOfSync,  // replies to earlier queries may still come
  kLost,       // the device is gone; each exchange makes one attempt to reconnect
};

// A sync query: its reply cannot be mistaken for the reply to another query. When a line is out of sync, the session
// sends the sync query and discards every reply before the sync reply. Then the line is in sync again.
struct SyncQuery {
  std::string_view query;      // empty: the model has none, and the session drains the line instead
  int trailing_lines = 0;      // further lines of the sync reply
  std::string_view alternate;  // a query with another reply; needed if a value can look like the sync reply
  // Whether it is not known yet that this instrument's sync reply can be recognised. If it is not recognised, the
  // session drains the line.
  bool assumed = false;
};

// The part of a driver that its session calls, under the exchange lock.
class SessionPeer {
 public:
  virtual ~SessionPeer() = default;
  // Performs the handshake after Connect has opened the link, and after each reconnection. A driver that identifies the
  // instrument passes the identification to Conversation::Admit before it sends anything that changes the instrument.
  // False: the instrument answered but refused to identify itself. After false and after a failure the session closes
  // the link.
  virtual Expected<bool> StartSession(Conversation& talk) = 0;
  // Called before Disconnect closes the link. Failures of its exchanges are ignored.
  virtual void EndSession(Conversation&) {}
  // The sync query with the present settings.
  virtual SyncQuery sync_query() const { return {}; }
  // Whether a line, up to its first zero byte, ends with a sync reply. The start of another reply that stopped midway
  // may precede it in the same line.
  virtual bool IsSyncReply(std::string_view) const { return false; }
};

// Resynchronisation. An exchange leaves a reply outstanding when the reply did not come, stopped midway, or could not
// be read. That reply may still come at any time, and could be taken for the reply to the next query. So the session
// sends the sync query before it accepts the next value, and discards everything before the sync reply. Without a sync
// query, or when the sync reply turned out not to be recognisable, the session drains the line: it discards what comes
// until ten read timeouts have passed since the failure. Each exchange drains for one read timeout at most, and fails
// until the time is over. An exchange on a line that is in sync sends no extra byte.
//
// Reconnection. When the device vanishes, the session closes the link. Each later exchange makes one attempt to open
// the same device again, and repeats the handshake if the host had connected. Until this succeeds, exchanges fail with
// the code of Link::CodeWhileLost. An instrument whose identification differs from the one at Connect is refused with
// the model's code. From then on every exchange fails with that code, until the host calls Connect again.
//
// Threads: any thread may call any member. The link and the peer must outlive the session. The destructor closes the
// link.
class Session {
 public:
  struct Options {
    Clock* clock = &SystemClock();
    std::uint32_t timeout_ms = 0;  // milliseconds; if not 0, replaces all other timeouts, also those of single replies
    std::uint32_t read_ms = 0;     // read timeout of the open link, in milliseconds; 0 keeps the link's own
    std::uint32_t write_ms = 0;    // write timeout, in the same way
    int open_attempts = 1;         // how often Open and Connect try to open the link, one second apart
    // Called when a later attempt than the first one opened the link, with its number.
    std::function<void(int attempt)> on_open_retried;
  };
  Session(Link& link, std::unique_ptr<Framer> framer, SessionPeer& peer, Options options);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Opens the link and sends nothing. S_OK when it is already open; on failure the link's code. A lost link is
  // reconnected.
  HRESULT Open();
  bool IsOpen() const { return link_.IsOpen(); }
  // Opens the link and performs the handshake. False when the instrument refused to identify itself. A failure has a
  // code of the link or of the model. After false and after a failure the link is closed.
  Expected<bool> Connect();
  // Calls SessionPeer::EndSession and closes the link. Interrupts an exchange of another thread, and waits for its end.
  void Disconnect();
  // Whether the device is present: S_OK, or the code with which an exchange would fail because the device is gone. S_OK
  // also during an exchange of another thread, which notices a loss itself. Sends nothing and does not wait.
  HRESULT Presence();
  // Between these two calls no exchange waits for the instrument. An exchange in progress fails soon, as with an
  // instrument that does not answer. Calls nest.
  void InterruptWaits();
  void ResumeWaits();
  // Whether another thread is in the middle of an exchange.
  bool IsBusy() const;

  SessionState state() const { return state_; }
  SessionStatistics statistics() const;

  // Runs `body` alone on the link, under the exchange lock. `body` makes one query with its reply, or a sequence that
  // belongs together. The lock is not recursive: `body` uses the conversation that it is given and calls no member of
  // the session. When the link is closed, or the device cannot be reconnected, `body` does not run, and the result is
  // the code of that failure.
  //
  // const Expected<std::string> reply =
  // session.Exchange([](Conversation& talk) { return talk.Query("MEAS?", {.size = 80}); });
  template <typename Body>
  auto Exchange(Body&& body) -> std::invoke_result_t<Body, Conversation&>;

 private:
  friend class Conversation;
  // Sets a flag during its lifetime.
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
  std::atomic<int> interruptions_ = 0;  // while above 0, exchanges make no further attempts

  // Guarded by exchange_mutex_.
  bool connected_ = false;  // between a successful Connect and Disconnect
  // During StartSession and EndSession. Their exchanges do not resynchronise first, because an instrument that was
  // switched off may need its handshake before it answers a sync query.
  bool shaking_hands_ = false;
  bool whole_ = false;                         // during a body of Conversation::Whole
  bool redone_ = false;                        // that body runs again after a stray reply
  bool stray_ = false;                         // a reply in that body answered another query
  std::optional<std::string> identification_;  // as admitted in the handshake
  std::optional<HRESULT> refused_;             // the code, after another instrument has answered a reconnection
  OutstandingReplies outstanding_;
  MonotonicTime drain_until_{};  // after this time no outstanding reply can come
  bool only_drains_ = false;     // an assumed sync reply was not recognised; cleared when in sync
  SessionCounters counters_;
};

// What a driver concludes from the reply to a command.
struct Verdict {
  HRESULT code;
  bool own_reply;  // false: the reply may belong to another command; the line is then out of sync
};

// The operations of the body of an exchange. Failures are the link's codes. A conversation is used on the thread of its
// exchange, and ends with the exchange.
class Conversation {
 public:
  explicit Conversation(Session& session) : session_(session) {}
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  // Sends a command that has no reply.
  HRESULT Send(std::string_view command) { return session_.Send(command); }
  // Sends commands without replies, up to the first that fails.
  HRESULT SendEach(std::initializer_list<std::string_view> commands);
  // Discards bytes that came unasked, sends the query, and reads its reply. If a reply is outstanding, the session
  // first resynchronises the line.
  Expected<std::string> Query(std::string_view query, const ReplyPlan& plan) { return session_.Query(query, plan); }
  // Makes a query whose reply is a text, such as an identification. The text ends at the first zero byte of the reply.
  // `part`, if given, returns the wanted part of the reply. If that part is empty, the result is the link's code for an
  // unread reply.
  using TextPart = std::string_view (*)(std::string_view reply);
  Expected<std::string> QueryText(std::string_view query, const ReplyPlan& plan, TextPart part = nullptr);
  // Makes the query and returns what `parse` makes of the reply. If `parse` fails with the link's code for an unread
  // reply, or with `unreadable`, the reply cannot be the one to this query, and the line is out of sync.
  //
  // talk.Query("MEAS?", kPlan, [](const std::string& reply) { return ParseReading(reply); });
  template <typename Parse>
  auto Query(std::string_view query, const ReplyPlan& plan, Parse&& parse, HRESULT unreadable = S_OK)
      -> std::invoke_result_t<Parse, std::string>;
  // Sends a command and passes its reply to `judge`, which returns a Verdict. The result is the code of the verdict, or
  // the link's code if no reply came.
  template <typename Judge>
  HRESULT Command(std::string_view command, const ReplyPlan& plan, Judge&& judge);
  // Makes a query that a person typed, and returns the reply as it is shown to a person (Framer::MessageOf, TextOf).
  // E_INVALIDARG for a text that is not a message. Where replies are lines, the session cannot check this one, and
  // marks the line as out of sync.
  Expected<std::string> QueryTyped(std::string_view typed);
  // Sends a typed command and reads no reply. E_INVALIDARG as above. Where every message has a reply (Modbus on a
  // serial line), this reply is then outstanding.
  HRESULT SendTyped(std::string_view typed);
  // Reads a further line of the reply. If no line or an empty one comes, the result is the link's code, and the line is
  // out of sync.
  Expected<std::string> ReadReply(const ReplyPlan& plan) { return session_.ReadReply(plan); }
  // Discards bytes that were received and not read.
  void DiscardInput() { session_.framer_->Discard(); }
  // Marks the line as out of sync. For a driver that knows that the last reply answered another query, or that a reply
  // is still to come.
  void MarkOutOfSync() { session_.MarkOutOfSync(ReplyKind::kAmbiguous); }
  // Runs `body`, a sequence of queries. If one of the replies answered another query, the session resynchronises the
  // line and runs all of `body` again, up to six times in all. After the last one the result is the link's code for an
  // unread reply.
  template <typename Body>
  HRESULT Whole(Body&& body);
  // Within Whole: says that the last reply cannot be the one to its query. `body` then runs again. Has no effect in
  // later runs: if the same reply comes again, it is the instrument's answer.
  void NoteStray() { session_.NoteStray(); }
  // Waits for `duration` after the written bytes have had their time on the line.
  void Pause(Milliseconds duration);
  // For the handshake: compares the identification with the one at Connect. S_OK at Connect, and after a reconnection
  // if they are the same. Otherwise the result is `other_instrument`, and every exchange fails with that code until the
  // host calls Connect again.
  HRESULT Admit(const std::string& identification, HRESULT other_instrument) {
    return session_.Admit(identification, other_instrument);
  }
  Milliseconds read_timeout() const { return session_.link_.read_timeout(); }
  // The link's code for a reply that did not come or cannot be read.
  HRESULT Unread() const { return session_.Unread(); }

 private:
  Session& session_;
};

// A failure code as the result type of an exchange.
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

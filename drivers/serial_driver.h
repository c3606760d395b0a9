// What every instrument on a serial line shares: the link, its settings, and the exchange of lines.
#pragma once

#include <atomic>
#include <string>
#include <string_view>

#include "drivers/driver.h"
#include "drivers/reply_ledger.h"
#include "links/serial_link.h"

namespace ulix {

// How a model's line is opened and spoken on.
struct LineProfile {
  char terminator;            // ends commands and replies
  int reply_size;             // longest reply read where nothing else is said, the terminator's place included
  int open_attempts = 1;      // a second apart
  std::uint32_t read_ms = 0;  // timeouts once open; 0 keeps the link's
  std::uint32_t write_ms = 0;
  std::span<const std::uint32_t> baud_rates = kBaudRates;  // that its line has
};

// How a reply is read.
struct ReplyPlan {
  int size;                   // the terminator's place included
  int attempts = 1;           // at reading, until a line is whole that is not empty; the query is sent once
  bool start_does = false;    // a longer line is expected, and its start is all that matters
  std::uint32_t read_ms = 0;  // of an attempt; 0: the link's timeout
  bool in_pieces = false;     // of a line that may have no end: others have the line's turn in between
};

// A query whose reply cannot be taken for another's. With it a line is brought back in step.
struct Landmark {
  std::string_view query;     // empty: the model has none, and a line that owes a reply is only drained
  int lines_behind = 0;       // that follow its reply and belong to it
  std::string_view opposite;  // a query with another reply, where the landmark's own replies are values too
};

// Exchanges. An exchange that ended without its reply, midway, or in a reply that made no sense leaves a reply owed: it
// may still come, at any time, and would pass for the next one's. Before the next value is accepted the landmark is
// asked for, and all that comes before its reply is thrown away. No ordinary exchange sends a byte for this.
//
// A device that vanishes closes the link. Each later exchange tries once to open it again, and, when it was connected,
// says the words of the connection first; until then exchanges are serialCommErrCommClosed.
class SerialDriver : public Driver {
 public:
  SerialDriver(const ModelCard& card, LineProfile profile, DriverServices services);
  ~SerialDriver() override;

  HRESULT OpenLink() override;
  bool LinkIsOpen() const override { return link_.IsOpen(); }
  HRESULT Presence() override;
  void InterruptWaits() override;
  void ResumeWaits() override;
  HRESULT Connect() override;
  void Disconnect() override;

  std::string CommInfo(Language language) const override;
  void ResetCommParams() override;
  void SaveCommParams(VariantWriter& writer) const override;
  HRESULT LoadCommParams(VariantReader& reader) override;
  std::span<const ErrorRow> LinkErrors() const override;
  Expected<SerialParams> GetSerialParams() const override { return link_.params(); }
  HRESULT SetSerialParams(const SerialParams& params) override;
  std::span<const std::uint32_t> BaudRates() const override { return profile_.baud_rates; }

 protected:
  // The words exchanged once the link is open, also when the device is back; a failure closes it again, and so does
  // kNotConnected.
  virtual HRESULT Greet() = 0;
  // The last words before the link is closed.
  virtual void TakeLeave() {}
  // The port opened at this attempt, after the ones before it had failed.
  virtual void OpenedLate(int /*attempt*/) {}

  virtual Landmark landmark() const { return {}; }
  // Whether the line ends with a reply to the landmark's query: another one that stopped midway may stand before it.
  virtual bool IsLandmark(std::string_view /*reply*/) const { return false; }

  // How a command goes out: as a line, unless a model has other frames.
  virtual HRESULT Transmit(std::string_view command) { return link_.WriteLine(command, profile_.terminator, 0); }

  HRESULT Send(std::string_view command);
  // A further line of the answer. None is serialCommErrUnableToReadComm, and so is an empty one.
  Expected<std::string> ReadReply(ReplyPlan plan);
  // Discards what came unasked, sends the query and reads one line.
  Expected<std::string> Query(std::string_view query) { return Query(query, usual_plan()); }
  Expected<std::string> Query(std::string_view query, ReplyPlan plan);
  // What `parse` makes of the reply. Where it fails with `unreadable`, the reply was none.
  template <typename Parse>
  auto Query(std::string_view query, ReplyPlan plan, Parse&& parse, HRESULT unreadable = serialCommErrUnableToReadComm)
      -> decltype(parse(std::string())) {
    const std::lock_guard exchange(exchange_mutex_);
    auto reply = Query(query, plan);
    if (!reply) return Failure(reply.error());
    auto value = parse(std::move(*reply));
    if (!value && value.error() == unreadable) Distrust();
    return value;
  }
  ReplyPlan usual_plan() const { return {profile_.reply_size}; }
  // Throws away what has come.
  void DiscardInput();

  // Opens the port of a device that went, and greets it; S_OK where there is nothing to do. Every exchange begins so.
  HRESULT HaveLinkBack();
  // For exchanges that are no lines: before one, and after an operation on the link that failed.
  HRESULT PrepareLine();
  void Distrust() { owed_.Asked(ReplyKind::kPlain); }
  void NoteLoss();
  // The timeout of one operation on the link: the model's own, or 0, the link's, where whoever created the driver chose
  // that.
  std::uint32_t TimeoutOr(std::uint32_t own_ms) const { return services_.timeout_ms == 0 ? own_ms : 0; }
  SerialLink& link() { return link_; }
  Clock& clock() const { return *services_.clock; }

 private:
  class Formalities;

  HRESULT OpenPort();
  HRESULT ApplyTimeouts();
  HRESULT GreetOn(HRESULT opened);

  ReplyKind KindOf(std::string_view query) const;
  HRESULT Ask(std::string_view query, ReplyKind kind);
  Expected<std::string> QueryOnce(std::string_view query, ReplyKind kind, ReplyPlan plan);
  HRESULT BringInStep(ReplyKind wanted, std::string_view query, ReplyPlan plan);
  void DrainUntilQuiet();
  Milliseconds MostChatter() const;
  Expected<std::string> Await(ReplyKind kind, ReplyPlan plan);
  bool TakeBehind(ReplyPlan plan);
  void TakeBehindSoon();
  Expected<std::string> TakeLine(ReplyPlan plan);
  HRESULT ReadOn(std::string& line, ReplyPlan plan);
  bool SkipRest();

  LineProfile profile_;
  DriverServices services_;
  SerialLink link_;

  // Guarded by exchange_mutex_.
  bool greeted_ = false;  // connected, as far as anybody told the instrument
  bool lost_ = false;     // the device went; to be had back
  bool formal_ = false;   // greeting or taking leave
  ReplyLedger owed_;
  bool cut_ = false;     // the end of the last line was not read: it was longer than its plan
  std::string partial_;  // the start of a line that stopped midway: its rest alone would read as another value

  std::atomic<int> interruptions_ = 0;  // while there are any, exchanges stop trying again
};

}  // namespace ulix

// Lines of text that end with a character, and frames of a serial line that end with a NUL or by their length.
#pragma once

#include <functional>

#include "links/serial_link.h"
#include "sessions/framer.h"

namespace ulix {

// While a reply is read, a line that stops midway is kept from one attempt to the next.
class LineFramer final : public Framer {
 public:
  // Makes the bytes that are sent for a message. Without it they are the message and the terminator.
  using Wrap = std::function<std::string(std::string_view message)>;
  struct Options {
    char terminator;
    int reply_size;  // of the longest reply, in bytes, with its terminator
    Wrap wrap;
  };
  LineFramer(SerialLink& link, Clock& clock, Options options);

  void Reset() override;
  LinkOutcome Send(std::string_view message) override;
  Reply Receive(const ReplyPlan& plan) override;
  Reply ReceiveAny(const ReplyPlan& plan) override;
  LinkOutcome Discard() override;
  // The input is discarded when the next message is sent, so that the machine-wide mutex is locked once for both.
  void Prepare() override;
  bool DiscardWithin(Milliseconds time) override;
  bool cut() const override { return cut_; }
  bool SkipRest() override;
  bool HasPart() const override { return part_; }

 private:
  LinkOutcome ReadOn(std::string& line, const ReplyPlan& plan);

  SerialLink& link_;
  Clock& clock_;
  const Options options_;
  bool discards_ = false;  // before the next message
  bool cut_ = false;       // the end of the last line was not read: it was longer than its plan
  bool within_ = false;    // the line before was cut: what follows is its rest and no line
  bool part_ = false;      // the last line stopped midway
  std::vector<char> buffer_;
};

// Frames without terminators: each reply has the size that its plan says. A reply of no bytes is none.
class FixedFramer final : public Framer {
 public:
  // Both outlive the framer.
  FixedFramer(SerialLink& link, Clock& clock) : link_(link), clock_(clock) {}

  LinkOutcome Send(std::string_view message) override { return link_.SendBytes(message, 0); }
  // A reply that stops midway is filled up with zeros and counts as complete.
  Reply Receive(const ReplyPlan& plan) override;
  Reply ReceiveAny(const ReplyPlan& plan) override { return Receive(plan); }
  LinkOutcome Discard() override { return link_.DiscardInput(); }
  bool DiscardWithin(Milliseconds time) override;

 private:
  SerialLink& link_;
  Clock& clock_;
};

// Throws away what comes on a serial line within the time, and returns whether anything came. The machine-wide mutex is
// held only while bytes are read.
bool DiscardWithin(SerialLink& link, Clock& clock, Milliseconds time);

}  // namespace ulix

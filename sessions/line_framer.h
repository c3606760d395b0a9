// Framers of serial lines: lines of text and frames that end with a terminator, and frames of known length.
#pragma once

#include <functional>

#include "links/serial_link.h"
#include "sessions/framer.h"

namespace ulix {

// Messages and replies end with a terminator: CR, LF or NUL. When a line stops midway, the next attempt to read the
// reply goes on with the part that came.
class LineFramer final : public Framer {
 public:
  // Makes the bytes that are sent for a message. If empty, these are the message and the terminator.
  using Wrap = std::function<std::string(std::string_view message)>;
  struct Options {
    char terminator;
    int reply_size;  // the longest reply in bytes, including the terminator
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
  bool cut_ = false;       // the last line was longer than its plan, and its rest is not read yet
  bool within_ = false;    // the line before was cut: the bytes that follow are its rest, not a line
  bool part_ = false;      // the last line stopped midway
  std::vector<char> buffer_;
};

// Frames without terminators. Each reply has the size that its plan gives; when no byte comes, there is no reply.
class FixedFramer final : public Framer {
 public:
  // Both outlive the framer.
  FixedFramer(SerialLink& link, Clock& clock) : link_(link), clock_(clock) {}

  LinkOutcome Send(std::string_view message) override { return link_.SendBytes(message, 0); }
  // A reply that stops midway is filled with zeros and counts as complete. A damaged reply or a lost link is a failure.
  Reply Receive(const ReplyPlan& plan) override;
  Reply ReceiveAny(const ReplyPlan& plan) override { return Receive(plan); }
  LinkOutcome Discard() override { return link_.DiscardInput(); }
  bool DiscardWithin(Milliseconds time) override;

 private:
  SerialLink& link_;
  Clock& clock_;
};

// Discards bytes that come on a serial line within `time`; returns true at the first ones, false when none came. The
// machine-wide mutex is held only while bytes are read.
bool DiscardWithin(SerialLink& link, Clock& clock, Milliseconds time);

}  // namespace ulix

// The framer of USB devices that exchange texts: one transfer for each reply.
#pragma once

#include "links/usb_link.h"
#include "sessions/framer.h"

namespace ulix {

// Each message is one transfer, and so is each reply of up to UsbLink::kReplySize bytes. The link's timeout applies to
// every reply; the plan has no influence.
class UsbFramer final : public Framer {
 public:
  UsbFramer(UsbLink& link, Clock& clock) : link_(link), clock_(clock) {}

  LinkOutcome Send(std::string_view message) override { return link_.Send(message); }
  // Receives one transfer. cut() says whether the reply continues in another one.
  Reply Receive(const ReplyPlan&) override;
  // Receives a whole reply, in any number of transfers, within five read timeouts.
  Reply ReceiveAny(const ReplyPlan&) override;
  LinkOutcome Discard() override { return link_.Discard(); }
  // Does nothing, because a USB device sends nothing unasked.
  void Prepare() override {}
  bool DiscardWithin(Milliseconds time) override;
  bool cut() const override { return link_.cut(); }
  // Waits for five read timeouts at most.
  bool SkipRest() override;
  bool HasPart() const override { return link_.HasPart(); }

 private:
  Deadline Patience() const { return Deadline::In(clock_, link_.read_timeout() * kMaxReadTimeouts); }

  UsbLink& link_;
  Clock& clock_;
};

}  // namespace ulix

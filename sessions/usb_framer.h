// Text over a USB device: one transfer a reply.
#pragma once

#include "links/usb_link.h"
#include "sessions/framer.h"

namespace ulix {

// Each message is one transfer, and so is each reply of usual length (links/usb_link.h). The link's timeout applies to
// every reply, whatever the plan says.
class UsbFramer final : public Framer {
 public:
  UsbFramer(UsbLink& link, Clock& clock) : link_(link), clock_(clock) {}

  LinkOutcome Send(std::string_view message) override { return link_.Send(message); }
  // One transfer. cut() tells whether the reply goes on in another one.
  Reply Receive(const ReplyPlan&) override;
  // A whole reply, however many transfers it takes, within five read timeouts.
  Reply ReceiveAny(const ReplyPlan&) override;
  LinkOutcome Discard() override { return link_.Discard(); }
  // Nothing comes unasked from a device whose line is in sync.
  void Prepare() override {}
  bool DiscardWithin(Milliseconds time) override;
  bool cut() const override { return link_.cut(); }
  // Within five read timeouts.
  bool SkipRest() override;
  bool HasPart() const override { return link_.HasPart(); }

 private:
  Deadline Patience() const { return Deadline::In(clock_, link_.read_timeout() * kMaxReadTimeouts); }

  UsbLink& link_;
  Clock& clock_;
};

}  // namespace ulix

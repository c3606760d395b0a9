// A link and a framer without a line, for drivers without an instrument.
#pragma once

#include <memory>
#include <string>

#include "drivers/wire.h"

namespace ulix {

class PlainLink : public Link {
 public:
  explicit PlainLink(LinkSettings settings = {}) : Link(settings) {}
  HRESULT Open() override {
    open_ = true;
    return S_OK;
  }
  HRESULT Close() override {
    open_ = false;
    return S_OK;
  }
  bool IsOpen() const override { return open_; }
  Milliseconds read_timeout() const override { return Milliseconds(1000); }
  LinkCodes codes() const override {
    return {.unopened = serialCommErrUnableToOpenComm,
            .closed = serialCommErrCommClosed,
            .unwritten = serialCommErrUnableToWriteComm,
            .unread = serialCommErrUnableToReadComm,
            .lost_reading = serialCommErrUnableToReadComm,
            .lost = serialCommErrCommClosed};
  }
  std::span<const ErrorRow> errors() const override { return {}; }
  std::string Info(Language) const override { return ""; }

 private:
  std::atomic<bool> open_ = false;
};

class PlainFramer final : public Framer {
 public:
  LinkOutcome Send(std::string_view) override { return LinkOutcome::kComplete; }
  Reply Receive(const ReplyPlan&) override { return {.outcome = LinkOutcome::kNoFirstByte, .text = {}}; }
  Reply ReceiveAny(const ReplyPlan& plan) override { return Receive(plan); }
  LinkOutcome Discard() override { return LinkOutcome::kComplete; }
  bool DiscardWithin(Milliseconds) override { return false; }
};

inline Wire PlainWire() { return {std::make_unique<PlainLink>(), std::make_unique<PlainFramer>(), {}}; }

}  // namespace ulix

// The outcome of one operation on a link, and its published code.
#pragma once

#include <optional>

#include "base/result.h"
#include "platform/serial_port.h"
#include "resources/texts.h"

namespace ulix {

enum class LinkOutcome {
  kComplete,
  kNoFirstByte,    // the time ran out before any byte moved
  kStoppedMidway,  // the time ran out with some bytes moved
  kDamaged,        // bytes came with a parity or framing error, or in a frame whose check fails
  kTooLong,        // the message filled its buffer before its end came
  kLinkLost,       // the device is gone, or the peer has left
  kInterrupted,
  kNotOpen,
  kNoTurn,      // the machine-wide lock of serial traffic was not obtained
  kNotSet,      // the system refused a timeout for the transfer
  kNotPutBack,  // the system refused to restore the former timeout after the transfer
  kNotFlushed,
  kBadIdentifier,  // the USB helper library knows the device by another identifier
  kNotLoaded,      // there is no USB helper library
};

constexpr bool IsComplete(LinkOutcome outcome) { return outcome == LinkOutcome::kComplete; }

LinkOutcome OutcomeOf(platform::IoOutcome outcome);

// The published codes of a kind of link. A kind without a code of its own for a failure uses that of the failed
// transfer.
struct LinkCodes {
  HRESULT unopened;
  HRESULT closed;
  HRESULT unwritten;
  HRESULT unread;        // no reply, or one that makes no sense
  HRESULT lost_reading;  // the device vanished during the wait for a reply
  HRESULT unflushed = unread;
  HRESULT not_set_up = S_OK;  // a timeout was refused; S_OK where that has no code of its own
  HRESULT not_loaded = closed;
  HRESULT lost = S_OK;                                 // the device is gone; S_OK where that has no code of its own
  std::optional<TextId> unopened_text = std::nullopt;  // replaces the text of `unopened` in error information
};

enum class LinkStep { kWrite, kRead };

// The code of an outcome; nothing else in the library turns outcomes into codes. kTooLong is a success, as published.
HRESULT PublishedCode(const LinkCodes& codes, LinkStep step, LinkOutcome outcome);

}  // namespace ulix

// What came of one operation on a link, and the published code of it.
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
  kTooLong,        // the message filled its room before its end came
  kLinkLost,       // the device is gone, or the peer has left
  kInterrupted,    // an interruption ended the wait
  kNotOpen,
  kNoTurn,         // the machine-wide lock of serial traffic was not obtained
  kNotSet,         // the system refused a timeout for the transfer
  kNotPutBack,     // it refused the former timeout behind it
  kNotFlushed,     // the device did not discard what was pending
  kBadIdentifier,  // the USB helper library knows the device by another identifier
  kNotLoaded,      // there is no USB helper library
};

constexpr bool IsComplete(LinkOutcome outcome) { return outcome == LinkOutcome::kComplete; }

LinkOutcome OutcomeOf(platform::IoOutcome outcome);

// The codes of a kind of link. Those that a kind does not have are those of the failed transfer.
struct LinkCodes {
  HRESULT unopened;
  HRESULT closed;
  HRESULT unwritten;
  HRESULT unread;
  HRESULT lost_reading;  // the device went while a reply was waited for
  HRESULT unflushed = unread;
  HRESULT not_set_up = S_OK;  // where a timeout that is refused has a code of its own
  HRESULT not_loaded = closed;
  HRESULT lost = S_OK;                                 // while the device is gone, where that has a code of its own
  std::optional<TextId> unopened_text = std::nullopt;  // of `unopened` in error information, in place of its own
};

enum class LinkStep { kWrite, kRead };

// The one place where an outcome becomes a code. What filled its room is a success, as published.
HRESULT PublishedCode(const LinkCodes& codes, LinkStep step, LinkOutcome outcome);

}  // namespace ulix

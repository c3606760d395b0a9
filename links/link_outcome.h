// The outcome of one operation on a link, and its published code.
#pragma once

#include <optional>

#include "base/result.h"
#include "platform/serial_port.h"
#include "resources/texts.h"

namespace ulix {

enum class LinkOutcome {
  kComplete,
  kNoFirstByte,    // the time ran out before the first byte
  kStoppedMidway,  // the time ran out after some of the bytes
  kDamaged,        // a parity or framing error, a frame with a wrong checksum, or a frame of another slave
  kTooLong,        // the message filled its buffer before its end came
  kLinkLost,       // the device is gone, or the peer has closed the connection
  kInterrupted,    // Link::InterruptReads ended the wait
  kNotOpen,        // the link is closed
  kNoTurn,         // the machine-wide lock of serial traffic was not obtained
  kNotSet,         // the system refused the timeout of the transfer
  kNotPutBack,     // after the transfer the system refused to restore the earlier timeout
  kNotFlushed,     // the USB helper library could not discard pending transfers
  kBadIdentifier,  // the USB helper library knows the device by another identifier
  kNotLoaded,      // there is no USB helper library
};

constexpr bool IsComplete(LinkOutcome outcome) { return outcome == LinkOutcome::kComplete; }

// The outcome of a transfer on a port; the names correspond.
LinkOutcome OutcomeOf(platform::IoOutcome outcome);

// The published codes of one kind of link. Where it has no code for a failure, the code of the failed write or read is
// used.
struct LinkCodes {
  HRESULT unopened;                                    // the link cannot be opened
  HRESULT closed;                                      // an operation on a closed link
  HRESULT unwritten;                                   // a write failed
  HRESULT unread;                                      // no reply came, or one that cannot be read
  HRESULT lost_reading;                                // the device vanished during the wait for a reply
  HRESULT unflushed = unread;                          // pending transfers could not be discarded
  HRESULT not_set_up = S_OK;                           // a timeout was refused; S_OK: no code of its own
  HRESULT not_loaded = closed;                         // there is no USB helper library
  HRESULT lost = S_OK;                                 // the device is gone; S_OK: no code of its own
  std::optional<TextId> unopened_text = std::nullopt;  // replaces the text of `unopened` in error information
};

enum class LinkStep { kWrite, kRead };

// The published code of an outcome. No other function of the library turns outcomes into codes. kTooLong is a success,
// as published.
HRESULT PublishedCode(const LinkCodes& codes, LinkStep step, LinkOutcome outcome);

}  // namespace ulix

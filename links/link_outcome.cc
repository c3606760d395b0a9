#include "links/link_outcome.h"

namespace ulix {

LinkOutcome OutcomeOf(platform::IoOutcome outcome) {
  switch (outcome) {
    case platform::IoOutcome::kComplete:
      return LinkOutcome::kComplete;
    case platform::IoOutcome::kNoFirstByte:
      return LinkOutcome::kNoFirstByte;
    case platform::IoOutcome::kStoppedMidway:
      return LinkOutcome::kStoppedMidway;
    case platform::IoOutcome::kDamaged:
      return LinkOutcome::kDamaged;
    case platform::IoOutcome::kCancelled:
      return LinkOutcome::kInterrupted;
    default:
      return LinkOutcome::kLinkLost;
  }
}

HRESULT PublishedCode(const LinkCodes& codes, LinkStep step, LinkOutcome outcome) {
  const HRESULT failed = step == LinkStep::kWrite ? codes.unwritten : codes.unread;
  switch (outcome) {
    case LinkOutcome::kComplete:
    case LinkOutcome::kTooLong:
      return S_OK;
    case LinkOutcome::kNotOpen:
      return codes.closed;
    case LinkOutcome::kNoTurn:
    case LinkOutcome::kNotPutBack:
      return E_FAIL;
    case LinkOutcome::kNotSet:
      return Failed(codes.not_set_up) ? codes.not_set_up : failed;
    case LinkOutcome::kNotFlushed:
      return codes.unflushed;
    case LinkOutcome::kBadIdentifier:
      return winUsbCommErrBadIdentifier;
    case LinkOutcome::kNotLoaded:
      return codes.not_loaded;
    case LinkOutcome::kLinkLost:
      return step == LinkStep::kWrite ? codes.unwritten : codes.lost_reading;
    default:
      return failed;
  }
}

}  // namespace ulix

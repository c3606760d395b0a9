#include "sessions/usb_framer.h"

#include <algorithm>
#include <utility>

namespace ulix {
namespace {

constexpr Milliseconds kDrainPause{100};

}  // namespace

Reply UsbFramer::Receive(const ReplyPlan&) {
  auto [outcome, text] = link_.Receive();
  return {.outcome = outcome, .text = std::move(text)};
}

Reply UsbFramer::ReceiveAny(const ReplyPlan&) {
  auto [outcome, text] = link_.ReceiveWhole(Patience());
  return {.outcome = outcome, .text = std::move(text)};
}

bool UsbFramer::SkipRest() { return IsComplete(link_.ReceiveWhole(Patience()).outcome); }

// Returns false, because the device does not say whether it had bytes to discard.
bool UsbFramer::DiscardWithin(Milliseconds time) {
  const Deadline end = Deadline::In(clock_, time);
  while (IsComplete(link_.Discard()) && !end.Passed(clock_)) {
    clock_.SleepFor(std::min(time, kDrainPause));
  }
  return false;
}

}  // namespace ulix

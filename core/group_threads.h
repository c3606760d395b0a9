// The bodies of a group's two threads. The caller keeps the arguments alive as long as the threads run.
#pragma once

#include "core/acq_group.h"

namespace ulix {

// Sets TimeToScan once per period until KillTimer. The first tick comes one period after `start`. Later ticks keep the
// phase. Several missed ticks become one.
void TimerThreadProc(ControlState& control, GroupState& group, GroupEvents& events, MonotonicTime start);

// Opens the link when it is closed, and ends when that fails. Then scans at each TimeToScan until KillScan. Fires no
// event after KillScan is set.
void ScanThreadProc(ControlState& control, GroupState& group, RunState& run);

// Asks the driver for one channel. `stamp` and `now` are the time of the reading.
ChannelReading AskChannel(Driver& driver, ChannelId id, Date stamp, MonotonicTime now);

}  // namespace ulix

// The bodies of a group's two threads. Whoever starts them keeps their arguments alive as long as they run.
#pragma once

#include "core/acq_group.h"

namespace ulix {

// Sets TimeToScan once per period until KillTimer. The first tick comes one period after `start`; later ones keep the
// phase; of ticks that were missed one is given.
void TimerThreadProc(ControlState& control, GroupState& group, GroupEvents& events, MonotonicTime start);

// Opens the link if need be (and ends when that fails), then scans at each TimeToScan until KillScan. Once KillScan is
// set it fires nothing more.
void ScanThreadProc(ControlState& control, GroupState& group, RunState& run);

}  // namespace ulix

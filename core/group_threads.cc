#include "core/group_threads.h"

#include <new>
#include <vector>

#include "core/reporting.h"
#include "platform/thread_priority.h"

namespace ulix {
namespace {

// An exception in a driver becomes the channel's error.
Reading ReadingFrom(Driver& driver, ChannelId id) {
  try {
    return driver.ReadChannel(id);
  } catch (const std::bad_alloc&) {
    return {.code = E_OUTOFMEMORY};
  } catch (...) {
    return {.code = driver.card().exception_code};
  }
}

// The scans of one run.
class Scanner {
 public:
  Scanner(ControlState& control, GroupState& group, RunState& run) : control_(control), group_(group), run_(run) {}

  void Scan();

 private:
  void Begin();
  // Puts a reading into its record and into the arrays. True when it must be reported.
  bool Take(const ChannelReading& reading);
  void Report();
  void FireReport();
  bool Stopped() const { return run_.events.IsSet(KillScan); }

  ControlState& control_;
  GroupState& group_;
  RunState& run_;

  GroupSettings settings_;  // This and the members below belong to the present scan.
  MonotonicTime now_;
  Date stamp_ = 0.0;
  bool report_due_ = false;
};

void Scanner::Begin() {
  settings_ = group_.Settings();
  now_ = control_.clock.Now();
  stamp_ = control_.clock.LocalTime();
  report_due_ = run_.TakeReportDue(now_, settings_.dead_time_max_s);
  run_.arrays.clear();
  group_.GetMembers(&run_.scanned);
  std::erase_if(run_.scanned, [this](ChannelId id) { return control_.channels.Direction(id) == ChanOut; });
}

void Scanner::Scan() {
  Begin();
  bool changed = false;
  for (const ChannelId id : run_.scanned) {
    if (Stopped()) return;
    if (Take(AskChannel(*control_.driver, id, stamp_, now_))) changed = true;
  }
  if (changed) Report();
}

bool Scanner::Take(const ChannelReading& reading) {
  if (Failed(reading.error) && !Stopped()) FireFailure(control_, reading.error);
  const bool time_moved = control_.channels.Record(reading.id).read_at != now_;
  const GroupChannel record = control_.channels.Store(reading);
  run_.arrays.Add(record);
  // For the dead band, a failure counts as the value 0.
  const float value = Failed(record.error) ? 0.0F : record.value;
  float& last_reported = run_.last_reported[record.id];
  const bool changed = report_due_ || LeavesDeadBand(value, last_reported, settings_);
  if (changed) last_reported = value;
  return changed && time_moved;
}

// When a report fails, the next scan is reported in any case.
void Scanner::Report() {
  try {
    FireReport();
  } catch (...) {
    run_.ForceReport();
    throw;
  }
}

void Scanner::FireReport() {
  if (Stopped()) return;
  control_.sinks.Fire(&EventSink::DataChange, group_.id, run_.arrays);
  if (Stopped()) return;
  control_.sinks.Fire(&EventSink::MeasReady, group_.id);
  run_.NoteReport(control_.clock.Now());
}

// Scans until it is told to end. When both events are set, the end comes first.
void ScanUntilKilled(ControlState& control, GroupState& group, RunState& run) {
  Scanner scanner(control, group, run);
  while (!(run.events.Wait(KillScan | TimeToScan, Deadline::Never()) & KillScan)) {
    // Reset before the scan: a tick that comes during the scan then causes the next one.
    run.events.Reset(TimeToScan);
    run.events.Reset(ScanDone);
    try {
      scanner.Scan();
    } catch (...) {
      TraceGroup(control, group.id, "ScanThreadProc: Error");
    }
    run.events.Set(ScanDone);
  }
}

}  // namespace

ChannelReading AskChannel(Driver& driver, ChannelId id, Date stamp, MonotonicTime now) {
  const Reading reading = ReadingFrom(driver, id);
  const bool has_value = Succeeded(reading.code) && reading.doubt != Doubt::kNoValue;
  return {.id = id,
          .value = has_value ? std::optional(reading.value) : std::nullopt,
          .error = Failed(reading.code) ? reading.code : S_OK,
          .doubt = reading.doubt,
          .time = stamp,
          .read_at = now};
}

void TimerThreadProc(ControlState& control, GroupState& group, GroupEvents& events, MonotonicTime start) {
  platform::SetThreadPriority(platform::ThreadPriority::kTimeCritical);
  MonotonicTime due = start;
  for (;;) {
    due = NextTick(due, Milliseconds(group.Settings().period_ms), control.clock.Now());
    if (events.Wait(KillTimer, Deadline::At(due))) break;
    events.Set(TimeToScan);
  }
  events.Set(TimerKilled);
}

void ScanThreadProc(ControlState& control, GroupState& group, RunState& run) {
  try {
    if (Succeeded(control.driver->OpenLink())) {
      run.events.Set(ScanCreated);
      ScanUntilKilled(control, group, run);
    }
  } catch (...) {
    TraceGroup(control, group.id, "ScanThreadProc: Error");
  }
  run.events.Set(ScanKilled);
}

}  // namespace ulix

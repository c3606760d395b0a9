#include "core/group_threads.h"

#include <vector>

#include "core/reporting.h"
#include "platform/thread_priority.h"

namespace ulix {
namespace {

// A device that went is told of within a second: by the next tick, or by a look in between.
constexpr Milliseconds kTellingPeriod{1000};
constexpr Milliseconds kLookInterval{900};

// One scan thread's work and what it remembers from scan to scan.
class Scanner {
 public:
  Scanner(ControlState& control, GroupState& group, GroupEvents& events)
      : control_(control), group_(group), events_(events), last_reported_(control.channels.size(), 0.0F) {}

  void Scan();
  // When to look whether the device is still there.
  Deadline NextLook() const;
  // Tells of a device that went, once for each scan.
  void LookForDevice();

 private:
  void Begin();
  std::vector<ChannelId> InputMembers() const;
  // Puts what a channel gave into its record and the arrays; true when its value is worth a report.
  bool Take(ChannelId id, const Reading& reading, ChannelArrays& arrays);
  void Report(const ChannelArrays& arrays);
  bool Stopped() const { return events_.IsSet(KillScan); }

  ControlState& control_;
  GroupState& group_;
  GroupEvents& events_;
  // The dead band is measured from here, not from the channel records.
  std::vector<float> last_reported_;

  GroupSettings settings_;  // of the present scan, with the two below
  MonotonicTime now_;
  Date stamp_ = 0.0;
  bool report_due_ = false;
  bool loss_told_ = false;  // since the last scan
};

void Scanner::Begin() {
  settings_ = group_.Settings();
  now_ = control_.clock.Now();
  stamp_ = control_.clock.LocalTime();
  report_due_ = group_.TakeReportDue(now_);
}

std::vector<ChannelId> Scanner::InputMembers() const {
  std::vector<ChannelId> ids = group_.Members();
  std::erase_if(ids, [this](ChannelId id) { return control_.channels.Direction(id) == ChanOut; });
  return ids;
}

void Scanner::Scan() {
  Begin();
  loss_told_ = false;
  ChannelArrays arrays;
  bool changed = false;
  for (const ChannelId id : InputMembers()) {
    if (Stopped()) return;
    if (Take(id, control_.driver->ReadChannel(id), arrays)) changed = true;
  }
  if (changed) Report(arrays);
}

Deadline Scanner::NextLook() const {
  const bool ticks_tell = Milliseconds(group_.Settings().period_ms) <= kTellingPeriod;
  return ticks_tell || loss_told_ ? Deadline::Never() : Deadline::In(control_.clock, kLookInterval);
}

void Scanner::LookForDevice() {
  const HRESULT presence = control_.driver->Presence();
  if (Succeeded(presence)) return;
  loss_told_ = true;
  Begin();
  ChannelArrays arrays;
  for (const ChannelId id : InputMembers()) Take(id, {.code = presence}, arrays);
  if (!arrays.ids.empty()) Report(arrays);
}

bool Scanner::Take(ChannelId id, const Reading& reading, ChannelArrays& arrays) {
  GroupChannel record = control_.channels.Record(id);
  const bool time_moved = record.read_at != now_;
  // A failure takes part in the dead band as 0; a warning leaves the value as it was, where there is one.
  const bool has_value = record.time != 0.0 && Succeeded(record.error);
  const bool no_value = reading.doubt == Doubt::kNoValue;
  if (!no_value) record.value = Failed(reading.code) ? 0.0F : reading.value;
  record.error = reading.code;
  if (no_value && !has_value) record.error = kNoValueYet;
  record.time = stamp_;
  record.read_at = now_;
  if (Failed(reading.code) && !Stopped()) FireFailure(control_, reading.code);
  const bool changed = report_due_ || LeavesDeadBand(record.value, last_reported_[id], settings_);
  if (changed) last_reported_[id] = record.value;
  control_.channels.Store(record);
  arrays.Add(id, record.value, record.error, stamp_);
  return changed && time_moved;
}

void Scanner::Report(const ChannelArrays& arrays) {
  if (Stopped()) return;
  control_.sinks.Fire(&EventSink::DataChange, group_.id, arrays);
  if (Stopped()) return;
  control_.sinks.Fire(&EventSink::MeasReady, group_.id);
  group_.NoteReport(control_.clock.Now());
}

// Scans until told to end. Index order of the two events: the end comes first.
void ScanUntilKilled(ControlState& control, GroupState& group, GroupEvents& events) {
  Scanner scanner(control, group, events);
  const auto guarded = [&](void (Scanner::*act)()) {
    try {
      (scanner.*act)();
    } catch (...) {
      TraceGroup(control, group.id, "ScanThreadProc: Error");
    }
  };
  for (;;) {
    const unsigned set = events.Wait(KillScan | TimeToScan, scanner.NextLook());
    if (set & KillScan) return;
    if (set == 0) {
      guarded(&Scanner::LookForDevice);
      continue;
    }
    // Before the reading: a tick that comes during the scan stays for the next one.
    events.Reset(TimeToScan);
    events.Reset(ScanDone);
    guarded(&Scanner::Scan);
    events.Set(ScanDone);
  }
}

}  // namespace

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

void ScanThreadProc(ControlState& control, GroupState& group, GroupEvents& events) {
  try {
    if (Succeeded(control.driver->OpenLink())) {
      group.ForgetLastReport();
      events.Set(ScanCreated);
      ScanUntilKilled(control, group, events);
    }
  } catch (...) {
    TraceGroup(control, group.id, "ScanThreadProc: Error");
  }
  events.Set(ScanKilled);
}

}  // namespace ulix

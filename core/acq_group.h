// One acquisition group: a timer thread that ticks at the period, and a scan thread that reads the group's channels and
// reports what changed.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/channel_table.h"
#include "core/events.h"
#include "core/group_events.h"
#include "core/group_settings.h"
#include "core/worker.h"
#include "drivers/driver.h"
#include "platform/mutex.h"

namespace ulix {

// The state that all threads of a control share. Each user holds a shared_ptr, so that a thread left behind can end.
struct ControlState {
  ControlState(std::unique_ptr<Driver> instrument, Clock& time)
      : driver(std::move(instrument)), clock(time), channels(driver->card().channels) {}
  const std::unique_ptr<Driver> driver;
  Clock& clock;
  ChannelTable channels;
  EventSinks sinks;
  // Held while a value is written: from the change of its record to the instrument's reply.
  platform::Mutex write_mutex;
};

// The state that a group shares with its threads.
class GroupState {
 public:
  explicit GroupState(std::uint32_t group_id) : id(group_id) {}
  const std::uint32_t id;

  GroupSettings Settings() const;
  // A period below kShortestPeriodMs becomes kShortestPeriodMs.
  void SetSettings(GroupSettings settings);

  bool IsMember(ChannelId channel) const;
  void SetMember(ChannelId channel, bool member);
  // Replaces the content of `members` by the group's channels, in the order of their ids.
  void GetMembers(std::vector<ChannelId>* members) const;

 private:
  mutable platform::Mutex mutex_;
  GroupSettings settings_;          // Guarded by mutex_.
  std::vector<ChannelId> members_;  // Guarded by mutex_; sorted.
};

// The state that the threads of one run share with the group. Each run has its own, so that a thread left behind does
// not disturb a later run. The constructor allocates all memory that scans need.
class RunState {
 public:
  RunState(Clock& clock, std::size_t channels);

  GroupEvents events;

  // The next scan that begins is reported in any case.
  void ForceReport();
  // Whether the scan that begins at `now` is reported in any case: after ForceReport, when nothing was reported yet, or
  // when the last report is longer ago than the max report interval, in seconds. Clears the mark of ForceReport.
  bool TakeReportDue(MonotonicTime now, std::uint32_t dead_time_max_s);
  void NoteReport(MonotonicTime now);

  // For the scan thread only. The dead band lies around the last reported values, not around the channel records.
  std::vector<float> last_reported;
  std::vector<ChannelId> scanned;
  ChannelArrays arrays;

 private:
  platform::Mutex mutex_;
  std::optional<MonotonicTime> last_report_;  // Guarded by mutex_.
  bool report_forced_ = false;                // Guarded by mutex_.
};

// The threads of one run of a group. An immediate read of a stopped group is a run with a scan thread only.
class GroupRun {
 public:
  GroupRun(std::shared_ptr<ControlState> control, std::shared_ptr<GroupState> group);
  ~GroupRun() { End(); }
  GroupRun(const GroupRun&) = delete;
  GroupRun& operator=(const GroupRun&) = delete;

  void StartTimer();
  void StartScan();
  bool HasTimer() const;
  RunState& state() { return *state_; }
  // Why the threads end; trace lines name the reason.
  enum class Ending { kStop, kImmediateRead };
  // Tells the threads to end and waits at most a second for each. A thread that does not end in time is left behind.
  // Inside an event of this run it does not wait. May be called again, on any thread.
  void End(Ending ending = Ending::kStop);

 private:
  void Finish(std::unique_ptr<Worker> worker, GroupEvent killed, const char* failure);
  std::shared_ptr<ControlState> control_;
  std::shared_ptr<GroupState> group_;
  std::shared_ptr<RunState> state_;
  mutable platform::Mutex mutex_;
  std::unique_ptr<Worker> timer_;  // Guarded by mutex_.
  std::unique_ptr<Worker> scan_;   // Guarded by mutex_.
};

// A group that a host made. All members may be called from any thread, also inside an event.
class AcqGroup {
 public:
  AcqGroup(std::uint32_t id, std::shared_ptr<ControlState> control);
  ~AcqGroup() { Stop(); }
  AcqGroup(const AcqGroup&) = delete;
  AcqGroup& operator=(const AcqGroup&) = delete;

  GroupState& state() { return *state_; }
  std::uint32_t id() const { return state_->id; }

  // Starts both threads; S_OK when they run already. The first tick comes one period later.
  HRESULT Run();
  // Ends the threads as GroupRun::End does. No event is fired afterwards.
  HRESULT Stop();
  // Prepares a Stop: the threads end as soon as they can and fire no more events. Does not wait.
  void TellToEnd();
  bool IsRunning() const;
  // Whether it runs or an immediate read is in progress.
  bool IsActive() const;
  // A running group scans as soon as it can and reports; the call does not wait. A stopped group is scanned once, and
  // the call waits: at most a second for the thread to start, one period for the scan, and a second for the end.
  HRESULT ImmediateRead();

 private:
  std::shared_ptr<GroupRun> TakeRun();
  void ScanOnce(GroupEvents& events);
  std::shared_ptr<ControlState> control_;
  std::shared_ptr<GroupState> state_;
  mutable platform::Mutex mutex_;
  std::shared_ptr<GroupRun> run_;  // Guarded by mutex_; null while stopped.
};

// Fires DevError for a code of the control's own block, SysError for any other code.
void FireError(const ControlState& control, HRESULT code);
// Fires the event for a failed connection or reading. Only for models that report these failures; else does nothing.
void FireFailure(const ControlState& control, HRESULT code);

// Writes a trace line about a group, for example "InstrKelvo10::GrpID3::Stop: Unable to kill Scan Thread\n". Without
// memory for the line nothing is written.
void TraceGroup(const ControlState& control, std::uint32_t group, const char* what) noexcept;

}  // namespace ulix

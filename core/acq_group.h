// One acquisition group: a timer thread that ticks at the period, and a scan thread that reads the group's channels and
// reports what changed.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "core/channel_table.h"
#include "core/events.h"
#include "core/group_events.h"
#include "core/group_settings.h"
#include "core/worker.h"
#include "drivers/driver.h"

namespace ulix {

// What the threads of a control share. Kept alive by whoever still works with it.
struct ControlState {
  ControlState(std::unique_ptr<Driver> instrument, Clock& time)
      : driver(std::move(instrument)), clock(time), channels(driver->card().channels) {}
  const std::unique_ptr<Driver> driver;
  Clock& clock;
  ChannelTable channels;
  EventSinks sinks;
  std::mutex write_mutex;  // held from a value's place in the channel table to what the instrument says of it
};

// What a group's threads share with it.
class GroupState {
 public:
  explicit GroupState(std::uint32_t group_id) : id(group_id) {}
  const std::uint32_t id;

  GroupSettings Settings() const;
  void SetSettings(GroupSettings settings);  // a period below the shortest becomes the shortest

  bool IsMember(ChannelId channel) const;
  void SetMember(ChannelId channel, bool member);
  // In the order of their ids, in place of what `members` held.
  void GetMembers(std::vector<ChannelId>* members) const;

 private:
  mutable std::mutex mutex_;
  GroupSettings settings_;          // guarded by mutex_
  std::vector<ChannelId> members_;  // guarded by mutex_; sorted: each scan takes them
};

// What the threads of one run share with whoever started it. A thread that was left behind keeps its own and disturbs
// no later run. All memory that scans need is taken when it is made.
class RunState {
 public:
  RunState(Clock& clock, std::size_t channels);

  GroupEvents events;

  // The next scan to begin reports whatever its values are.
  void ForceReport();
  // Whether the scan that begins at `now` reports in any case: it was asked to, nothing was reported yet, or the last
  // report is longer ago than the maximum dead time.
  bool TakeReportDue(MonotonicTime now, std::uint32_t dead_time_max_s);
  void NoteReport(MonotonicTime now);

  // Of the scan thread alone. The dead band is measured from the last reported values, not from the channel records.
  std::vector<float> last_reported;
  std::vector<ChannelId> scanned;
  ChannelArrays arrays;

 private:
  std::mutex mutex_;
  std::optional<MonotonicTime> last_report_;  // guarded by mutex_
  bool report_forced_ = false;                // guarded by mutex_
};

// The threads of one run, or of one immediate read (a scan thread alone).
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
  // What ends the threads: traces name it.
  enum class Ending { kStop, kImmediateRead };
  // Tells the threads to end and waits at most a second for each; one that does not come is left behind. At once inside
  // an event of this run. May be called again, by any thread.
  void End(Ending ending = Ending::kStop);

 private:
  void Finish(std::unique_ptr<Worker> worker, GroupEvent killed, const char* failure);
  std::shared_ptr<ControlState> control_;
  std::shared_ptr<GroupState> group_;
  std::shared_ptr<RunState> state_;
  mutable std::mutex mutex_;
  std::unique_ptr<Worker> timer_;  // guarded by mutex_
  std::unique_ptr<Worker> scan_;   // guarded by mutex_
};

class AcqGroup {
 public:
  AcqGroup(std::uint32_t id, std::shared_ptr<ControlState> control);
  ~AcqGroup() { Stop(); }
  AcqGroup(const AcqGroup&) = delete;
  AcqGroup& operator=(const AcqGroup&) = delete;

  GroupState& state() { return *state_; }
  std::uint32_t id() const { return state_->id; }

  // Both threads; nothing when they run already. The first tick comes one period later.
  HRESULT Run();
  HRESULT Stop();
  // For a Stop that is to come: its threads end as soon as they can, and fire nothing more.
  void TellToEnd();
  bool IsRunning() const;
  bool IsActive() const;  // running, or being read at once
  // A running group scans as soon as it can and reports; the call does not wait. A stopped one is scanned once, and the
  // call waits for it: at most a second for the thread, one period for the scan, a second for the end.
  HRESULT ImmediateRead();

 private:
  std::shared_ptr<GroupRun> TakeRun();
  void ScanOnce(GroupEvents& events);
  std::shared_ptr<ControlState> control_;
  std::shared_ptr<GroupState> state_;
  mutable std::mutex mutex_;
  std::shared_ptr<GroupRun> run_;  // guarded by mutex_; null while stopped
};

// Tells the sinks of a failure: DevError for a code of the control's own block, SysError for any other.
void FireError(const ControlState& control, HRESULT code);
// The same for a failed connection or reading, where the model tells of those.
void FireFailure(const ControlState& control, HRESULT code);

// "InstrKelvo10::GrpID3::Stop: Unable to kill Scan Thread\n": a trace line of a control's group. Left out
// when there is no memory for it.
void TraceGroup(const ControlState& control, std::uint32_t group, const char* what) noexcept;

}  // namespace ulix
